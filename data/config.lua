-- Settings of "Rocking Horse Revolution". Every key is a Lua global read once at start-up.

DEBUG = false               -- true: 800 x 600 window, log file, time bar, status line, game pad
LOGFILE = "demo.log"        -- written in debug mode only, truncated at every start
TITLE = "Rocking Horse Revolution"
VERSION = "1.0"

WIDTH = 1280
HEIGHT = 720
BPP = 32                    -- 0 takes the desktop's depth
FSAA = 0                    -- multisamples, 0 for none
ASPECTRATIO = "16:9"        -- "16:9" or "16:10" letterbox the picture; anything else fills the window
FULLSCREEN = false
VSYNC = true

AUDIO = "auto"              -- "auto", "alsa", "oss", "esd" (PulseAudio) or "nosound"
MUSIC = "soundtrack.ogg"    -- inside data/audio/

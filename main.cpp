// Entry point. Every global of the program is defined here, in the one order start-up
// needs: C++ orders construction only within a file, and each constructor below relies on
// the ones above it (the configuration on the Lua state, the log on the configuration, the
// window on the log, the director's asset loading on the window's GL context). Destruction
// runs in reverse, so the director shuts down while the log, managers, music and window live.
//
// The programs that draw with the demo's own objects (the capture program, the in-process tests,
// the benchmarks, the fuzzers) link these same globals: CMakeLists.txt compiles this file again
// with the entry point renamed (`programglobals`), and once more for the capture with OFFSCREEN
// defined (`captureglobals`), which opens no window.
#include <iostream>  // first, so that the standard streams are built before `cam` writes to them

#include "framework/arguments.h"
#include "framework/audio.h"
#include "framework/cam.h"
#include "framework/camera.h"
#include "framework/config.h"
#include "framework/demo.h"
#include "framework/effects.h"
#include "framework/events.h"
#include "framework/fps.h"
#include "framework/guard.h"
#include "framework/input.h"
#include "framework/joystick.h"
#include "framework/livecode.h"
#include "framework/loader.h"
#include "framework/logger.h"
#include "framework/math.h"
#include "framework/music.h"
#include "framework/opengl.h"
#include "framework/primitives.h"
#include "framework/script.h"
#include "framework/shadermanager.h"
#include "framework/stage.h"
#include "framework/synctracks.h"
#include "framework/texturemanager.h"
#include "framework/timeline.h"
#include "framework/timer.h"
#include "framework/utils.h"
#include "framework/watcher.h"
#include "framework/window.h"
#include "scenes/show.h"

#ifdef OFFSCREEN
const bool offscreenVideo = true;
#else
const bool offscreenVideo = false;
#endif

OpenGL opengl;
Script script;
Utils utils;
bool Config::debug = false;
std::string Config::logfile;
std::string Config::title;
std::string Config::version;
int Config::width = 0;
int Config::height = 0;
int Config::bpp = 0;
int Config::fsaa = 0;
std::string Config::aspectratio;
bool Config::fullscreen = false;
bool Config::vsync = false;
std::string Config::audio;
std::string Config::music;
Config config("data/config.lua");
Arguments arguments;
Cam cam;
Camera camera;
Joystick joystick;
Input input;
Events events;
Logger logger;
Audio audio;
Timer timer;
FPS fps;
Window window;
Loader loader;
Music music(Config::music);
Timeline timeLine;
Shadermanager shadermanager;
Texturemanager texturemanager;
// Not one of the start-up modules: the scratch set of a reload on save, empty until one. The
// managers' loaders pass through it, so it exists before the director loads the assets.
Stage stage;
// Not one of the start-up modules either: the sync tracks, read from data/sync/ with the rest of
// the data, before any scene asks for one by name.
Synctracks synctracks;
// Not start-up modules either: a rehearsal's guard around every call into rebuilt scenes, armed
// as the show starts, and the live scene code, with which the scenes register what they keep
// from frame to frame when they are made. Both outlive the director, which calls the scenes'
// destructors at the end, guarded when their code came from a module.
Guard guard;
Livecode livecode;
Demo demo;
Effects effects;
Math math;
Primitives primitives;
// Not one of the start-up modules either: it is read from the director's frames and reaches
// nothing but the log.
Watcher watcher;

int main(int argc, char** argv)
{
    arguments.get(argc, argv);
    loadShow();
    demo.start();
    while (demo.running) demo.update();
    return 0;
}

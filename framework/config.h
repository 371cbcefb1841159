// Config: the settings of "data/config.lua", read once at start-up through the shared Lua
// state; the command line may overwrite some of them afterwards.
// Owns: the thirteen settings, as static members defined with the globals.
// Depends on: Lua 5.1 through Script (the one state); Logger for the listing in debug mode.
#pragma once

#include <string>

class Config {
public:
    static bool debug;
    static std::string logfile;
    static std::string title;
    static std::string version;
    static int width;
    static int height;
    static int bpp;
    static int fsaa;
    static std::string aspectratio;
    static bool fullscreen;
    static bool vsync;
    static std::string audio;
    static std::string music;

    explicit Config(std::string file);
    ~Config();

    static int getWidth();
    static int getHeight();
    static int getBpp();
    static int getFsaa();
    static bool getDebug();
    static bool getFullscreen();
    static bool getVsync();
    static std::string getLogFile();
    static std::string getTitle();
    static std::string getVersion();
    static std::string getAudio();
    static std::string getMusic();
    static std::string getAspectRatio();

    // Writes the thirteen settings to the log, one line each
    static void print();
};

extern Config config;

// Config: thirteen globals of "data/config.lua", in the order they are read.
#include "config.h"

#include <ostream>

#include "logger.h"
#include "script.h"

// The static members are defined with the other globals, in start-up order, because they
// must exist before `config` fills them.

Config::Config(std::string file)
{
    script.load(file);
    // Numbers come back as doubles; the cast truncates toward zero (640.7 gives 640).
    debug = script.getBool("DEBUG");
    logfile = script.getString("LOGFILE");
    title = script.getString("TITLE");
    version = script.getString("VERSION");
    width = static_cast<int>(script.getInt("WIDTH"));
    height = static_cast<int>(script.getInt("HEIGHT"));
    bpp = static_cast<int>(script.getInt("BPP"));
    fsaa = static_cast<int>(script.getInt("FSAA"));
    aspectratio = script.getString("ASPECTRATIO");
    fullscreen = script.getBool("FULLSCREEN");
    vsync = script.getBool("VSYNC");
    audio = script.getString("AUDIO");
    music = script.getString("MUSIC");
}

Config::~Config() {}

int Config::getWidth() { return width; }
int Config::getHeight() { return height; }
int Config::getBpp() { return bpp; }
int Config::getFsaa() { return fsaa; }
bool Config::getDebug() { return debug; }
bool Config::getFullscreen() { return fullscreen; }
bool Config::getVsync() { return vsync; }
std::string Config::getLogFile() { return logfile; }
std::string Config::getTitle() { return title; }
std::string Config::getVersion() { return version; }
std::string Config::getAudio() { return audio; }
std::string Config::getMusic() { return music; }
std::string Config::getAspectRatio() { return aspectratio; }

void Config::print()
{
    logger << "Config: Title: " << title << std::endl;
    logger << "Config: Version: " << version << std::endl;
    logger << "Config: Audio: " << audio << std::endl;
    logger << "Config: Music: " << music << std::endl;
    logger << "Config: Width: " << width << std::endl;
    logger << "Config: Height: " << height << std::endl;
    logger << "Config: Bpp: " << bpp << std::endl;
    logger << "Config: FSAA: " << fsaa << std::endl;
    logger << "Config: Aspect Ratio: " << aspectratio << std::endl;
    logger << "Config: Debug: " << debug << std::endl;
    logger << "Config: Logfile: " << logfile << std::endl;
    logger << "Config: Fullscreen: " << fullscreen << std::endl;
    logger << "Config: Vsync: " << vsync << std::endl;
}

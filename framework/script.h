// Script: the one Lua 5.1 state. "data/config.lua" and "data/demo.lua" both run in it, and
// the schedule reaches the director through the Lua function addSceneToTimeline. Every run of
// a script is bounded (instructions and memory, see script.cpp), so none can hang the demo.
//
// Depends on: Lua 5.1, the director (scene names). Owns: the Lua state.
#pragma once

#include <string>
#include <vector>

#include "logger.h"
#include "timeline.h"

struct lua_State;

class Script {
public:
    lua_State* state;

    Script();
    virtual ~Script();

    // Loads and runs the file; a syntax or run-time error, or a limit reached, ends the
    // program with status 1
    bool load(std::string file);

    bool getBool(std::string name);
    double getInt(std::string name);
    std::string getString(std::string name);

    void setBool(std::string name, bool value);
    void setInt(std::string name, double value);
    void setString(std::string name, std::string value);

    // Calls a global Lua function without arguments, unprotected
    void runFunction(std::string name);

    // Runs the file in a sandbox of its own, without os, io or the loaders, where
    // addSceneToTimeline collects the entries into `entries` instead of scheduling them and
    // refuses a name no scene is registered under. The plain values of the one state (the
    // settings) are there to read. Refused with the message load() would end the program with
    Result stage(std::string file, std::vector<Timeline>& entries);
};

extern Script script;

// The Lua-callable addSceneToTimeline(name, start, end)
int addSceneToTimeline(lua_State* state);

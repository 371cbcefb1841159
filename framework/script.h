// Script: the one Lua 5.1 state. "data/config.lua" and "data/demo.lua" both run in it, and
// the schedule reaches the director through the Lua function addSceneToTimeline.
#pragma once

#include <string>

struct lua_State;

class Script {
public:
    lua_State* state;

    Script();
    virtual ~Script();

    // Loads and runs the file; a syntax or run-time error ends the program with status 1
    bool load(std::string file);

    bool getBool(std::string name);
    double getInt(std::string name);
    std::string getString(std::string name);

    void setBool(std::string name, bool value);
    void setInt(std::string name, double value);
    void setString(std::string name, std::string value);

    // Calls a global Lua function without arguments, unprotected
    void runFunction(std::string name);

    // Runs the file in a scratch state, where addSceneToTimeline only checks its arguments and
    // the scene's name; false with the message that load() would have ended the program with
    bool check(std::string file, std::string& error);
};

extern Script script;

// The Lua-callable addSceneToTimeline(name, start, end)
int addSceneToTimeline(lua_State* state);

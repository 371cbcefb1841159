// Script: one Lua 5.1 state shared by the configuration and the timeline script.
#include "script.h"

extern "C" {
#include <lauxlib.h>
#include <lua.h>
#include <lualib.h>
}

#include "demo.h"
#include "logger.h"
#include "utils.h"

Script::Script()
{
    state = luaL_newstate();
    luaL_openlibs(state);
    lua_register(state, "addSceneToTimeline", addSceneToTimeline);
}

Script::~Script() { lua_close(state); }

// Compiles and runs `file` in `state`: "" on success, else the message a failed load ends with.
static std::string run(lua_State* state, const std::string& file)
{
    if (luaL_loadfile(state, file.c_str()) == 0 && lua_pcall(state, 0, LUA_MULTRET, 0) == 0) return "";

    // The message sits at the bottom of the stack only when the chunks before returned
    // nothing; results that a script left there are reported instead, as they always were.
    const char* message = lua_tostring(state, 1);
    return std::string("Script: Error! ") + (message ? message : "(error object is not a string)");
}

bool Script::load(std::string file)
{
    std::string error = run(state, file);
    if (!error.empty()) fatal(error);
    return true;
}

bool Script::getBool(std::string name)
{
    lua_getglobal(state, name.c_str());
    bool value = lua_toboolean(state, -1) != 0;
    lua_pop(state, 1);
    return value;
}

double Script::getInt(std::string name)
{
    lua_getglobal(state, name.c_str());
    double value = lua_tonumber(state, -1);
    lua_pop(state, 1);
    return value;
}

std::string Script::getString(std::string name)
{
    lua_getglobal(state, name.c_str());
    const char* text = lua_tostring(state, -1);  // numbers come back in Lua's text form
    std::string value = text ? text : "";
    lua_pop(state, 1);
    return value;
}

void Script::setBool(std::string name, bool value)
{
    lua_pushboolean(state, value);
    lua_setglobal(state, name.c_str());
}

void Script::setInt(std::string name, double value)
{
    lua_pushinteger(state, static_cast<lua_Integer>(value));
    lua_setglobal(state, name.c_str());
}

void Script::setString(std::string name, std::string value)
{
    lua_pushstring(state, value.c_str());
    lua_setglobal(state, name.c_str());
}

void Script::runFunction(std::string name)
{
    lua_getglobal(state, name.c_str());
    lua_call(state, 0, 0);
}

// Reads argument `index` as text; without one the call is a script error, which load()
// reports with the file and line of the call.
static const char* argumentText(lua_State* state, int index, const char* what)
{
    const char* text = lua_tostring(state, index);
    if (!text) luaL_error(state, "addSceneToTimeline: argument %d (%s) must be a string or a number", index, what);
    return text;
}

int addSceneToTimeline(lua_State* state)
{
    // All three are read before any C++ object exists: a script error leaves through longjmp,
    // which would skip the destructor of a name already copied (and leak its text).
    const char* name = argumentText(state, 1, "name");
    const char* start = argumentText(state, 2, "start");
    const char* end = argumentText(state, 3, "end");
    // Through the text form on purpose: 15.9 gives 15, "0x10" gives 0, 1e+15 gives 1.
    demo.addSceneToTimeline(name, toInt(start), toInt(end));
    return 1;
}

// The scratch state's addSceneToTimeline: the same arguments are required, and a name that no
// scene is registered under is a script error at the line of the call instead of the end.
static int checkScene(lua_State* state)
{
    const char* name = argumentText(state, 1, "name");
    argumentText(state, 2, "start");
    argumentText(state, 3, "end");
    if (demo.scenes.find(name) == demo.scenes.end())
        luaL_error(state, "addSceneToTimeline: no scene is registered as %s", name);
    return 0;
}

bool Script::check(std::string file, std::string& error)
{
    lua_State* scratch = luaL_newstate();
    luaL_openlibs(scratch);
    lua_register(scratch, "addSceneToTimeline", checkScene);
    error = run(scratch, file);
    lua_close(scratch);
    return error.empty();
}

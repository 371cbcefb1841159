// Script: one Lua 5.1 state shared by the configuration and the timeline script, and the
// sandboxes a reload on save runs the schedule in.
#include "script.h"

extern "C" {
#include <lauxlib.h>
#include <lua.h>
#include <lualib.h>
}

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "demo.h"
#include "logger.h"
#include "utils.h"

// What one run of a script may use. The demo's own configuration and schedule take a few
// thousand instructions and a few kilobytes; a script that never ends meets the instruction
// limit within about a second.
static const int instructionLimit = 100000000;
static const size_t memoryLimit = 256u << 20;
static const int hookInterval = 1000;  // instructions between two counts

// What a state has used of its limits: its allocator's data, so the count hook finds it too.
struct Budget {
    size_t bytes = 0;      // in use by the state, across runs
    int instructions = 0;  // run in the current run
    std::string stopped;   // the message of the limit the current run met, "" for none
};

// The one state's, built on first use: the state is made while the globals are constructed.
static Budget& mainBudget()
{
    static Budget budget;
    return budget;
}

// Whether `more` bytes stay within the memory limit; past it, the limit's message is set.
static bool affords(Budget& budget, size_t more)
{
    if (budget.bytes + more <= memoryLimit) return true;
    budget.stopped = "stopped at the limit of " + std::to_string(memoryLimit >> 20) + " MB of memory";
    return false;
}

// Lua's allocator contract, with a refusal once a state would hold more than the limit;
// shrinking never fails.
static void* allocate(void* data, void* block, size_t oldSize, size_t newSize)
{
    Budget* budget = static_cast<Budget*>(data);
    if (newSize == 0) {
        free(block);
        budget->bytes -= oldSize;
        return nullptr;
    }
    if (newSize > oldSize && !affords(*budget, newSize - oldSize)) return nullptr;
    void* moved = realloc(block, newSize);
    if (moved) budget->bytes = budget->bytes - oldSize + newSize;
    return moved;
}

static Budget& budgetOf(lua_State* state)
{
    void* data = nullptr;
    lua_getallocf(state, &data);
    return *static_cast<Budget*>(data);
}

// Once the limit is met every further instruction fails too, so a script that catches the
// error with pcall still ends.
static void countInstructions(lua_State* state, lua_Debug*)
{
    Budget& budget = budgetOf(state);
    budget.instructions += hookInterval;
    if (budget.instructions < instructionLimit) return;
    lua_sethook(state, countInstructions, LUA_MASKCOUNT, 1);
    luaL_where(state, 0);  // where the running function is, which is where it loops
    lua_pushfstring(state, "stopped at the limit of %d instructions", instructionLimit);
    lua_concat(state, 2);
    if (budget.stopped.empty()) budget.stopped = lua_tostring(state, -1);
    lua_error(state);
}

// An error outside any protected call (runFunction's) ends the program like any other.
static int panic(lua_State* state)
{
    const char* message = lua_tostring(state, -1);
    fatal(std::string("Script: Error! ") + (message ? message : "(error object is not a string)"));
}

// The count never stops, so that no Lua code runs unbounded: not the scripts, nor a metamethod
// that a getter meets after them.
static lua_State* newState(Budget& budget)
{
    lua_State* state = lua_newstate(allocate, &budget);
    if (!state) fatal("Script: Error! cannot create a Lua state");
    lua_atpanic(state, panic);
    lua_sethook(state, countInstructions, LUA_MASKCOUNT, hookInterval);
    return state;
}

// A script stuck inside a library function (a pattern that backtracks for hours) never
// reaches the instruction count: while one runs, SIGTERM and Ctrl-C end the program at once.
class DefaultSignals {
public:
    DefaultSignals()
    {
        struct sigaction fallback = {};
        fallback.sa_handler = SIG_DFL;
        sigaction(SIGTERM, &fallback, &term);
        sigaction(SIGINT, &fallback, &interrupt);
    }
    ~DefaultSignals()
    {
        sigaction(SIGTERM, &term, nullptr);
        sigaction(SIGINT, &interrupt, nullptr);
    }

private:
    struct sigaction term, interrupt;
};

// Lua's own loadfile, on a text read once: the chunk is named after the file, so messages
// read "data/demo.lua:3: ...", and a first line starting with '#' is skipped, its line end kept.
static int compile(lua_State* state, const std::string& file, std::string& text)
{
    if (!readData(file, text).ok()) {
        const char* reason = errno ? strerror(errno) : "not a regular file";
        lua_pushfstring(state, "cannot open %s: %s", file.c_str(), reason);
        return LUA_ERRFILE;
    }
    if (!text.empty() && text[0] == '#') text.erase(0, text.find('\n'));
    return luaL_loadbuffer(state, text.data(), text.size(), ("@" + file).c_str());
}

// Compiles and runs `file` in `state` within the limits; refused with the message a failed
// load ends with.
static Result run(lua_State* state, const std::string& file)
{
    Budget& budget = budgetOf(state);
    budget.instructions = 0;
    budget.stopped.clear();
    lua_sethook(state, countInstructions, LUA_MASKCOUNT, hookInterval);

    std::string text;
    DefaultSignals signals;
    bool ran = compile(state, file, text) == 0 && lua_pcall(state, 0, LUA_MULTRET, 0) == 0;
    if (!budget.stopped.empty()) {
        // The limit's message, even when the script caught it: the memory's has no line of its own.
        bool located = budget.stopped.compare(0, file.size(), file) == 0;
        return Result::refuse("Script: Error! " + (located ? budget.stopped : file + ": " + budget.stopped));
    }
    if (ran) return Result();

    // The message sits at the bottom of the stack only when the chunks before returned
    // nothing; results that a script left there are reported instead.
    const char* message = lua_tostring(state, 1);
    return Result::refuse(std::string("Script: Error! ") + (message ? message : "(error object is not a string)"));
}

Script::Script()
{
    state = newState(mainBudget());
    luaL_openlibs(state);
    lua_register(state, "addSceneToTimeline", addSceneToTimeline);
}

Script::~Script() { lua_close(state); }

bool Script::load(std::string file)
{
    Result ran = run(state, file);
    if (!ran.ok()) fatal(ran.reason());
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

// The sandbox's addSceneToTimeline: the same arguments are required, and a name that no
// scene is registered under is a script error at the line of the call instead of the end.
// The entries count against the memory limit as well.
static int collectScene(lua_State* state)
{
    const char* name = argumentText(state, 1, "name");
    const char* start = argumentText(state, 2, "start");
    const char* end = argumentText(state, 3, "end");
    std::map<std::string, Scene*>::iterator found = demo.scenes.find(name);
    if (found == demo.scenes.end()) luaL_error(state, "addSceneToTimeline: no scene is registered as %s", name);
    Budget& budget = budgetOf(state);
    if (!affords(budget, sizeof(Timeline) + strlen(name))) luaL_error(state, "%s", budget.stopped.c_str());
    budget.bytes += sizeof(Timeline) + strlen(name);

    std::vector<Timeline>* entries = static_cast<std::vector<Timeline>*>(lua_touserdata(state, lua_upvalueindex(1)));
    entries->emplace_back();
    Timeline& entry = entries->back();
    entry.scene = found->second;
    entry.start = toInt(start);
    entry.end = toInt(end);
    entry.name = name;
    return 1;
}

// The libraries a schedule may use: no os, no io, nothing that loads code from elsewhere, and
// no finalizers (newproxy's), which Lua runs with the instruction count switched off.
static void openSandbox(lua_State* sandbox)
{
    const lua_CFunction libraries[] = {luaopen_base, luaopen_table, luaopen_string, luaopen_math};
    for (lua_CFunction library : libraries) {
        lua_pushcfunction(sandbox, library);
        lua_call(sandbox, 0, 0);
    }
    for (const char* loader : {"dofile", "loadfile", "load", "loadstring", "newproxy"}) {
        lua_pushnil(sandbox);
        lua_setglobal(sandbox, loader);
    }
}

// The plain values of the one state (numbers, strings, booleans: the settings, what earlier
// schedules left) that the sandbox lacks, so a schedule that reads them schedules the same.
static void copyValues(lua_State* from, lua_State* to)
{
    lua_pushnil(from);
    while (lua_next(from, LUA_GLOBALSINDEX)) {
        int type = lua_type(from, -1);
        bool plain = type == LUA_TNUMBER || type == LUA_TSTRING || type == LUA_TBOOLEAN;
        if (lua_type(from, -2) == LUA_TSTRING && plain) {
            const char* name = lua_tostring(from, -2);
            lua_getglobal(to, name);
            bool absent = lua_isnil(to, -1);
            lua_pop(to, 1);
            if (absent) {
                size_t length = 0;
                const char* text = type == LUA_TSTRING ? lua_tolstring(from, -1, &length) : nullptr;
                if (type == LUA_TNUMBER) lua_pushnumber(to, lua_tonumber(from, -1));
                if (type == LUA_TSTRING) lua_pushlstring(to, text, length);
                if (type == LUA_TBOOLEAN) lua_pushboolean(to, lua_toboolean(from, -1));
                lua_setglobal(to, name);
            }
        }
        lua_pop(from, 1);
    }
}

Result Script::stage(std::string file, std::vector<Timeline>& entries)
{
    Budget budget;
    lua_State* sandbox = newState(budget);
    openSandbox(sandbox);
    copyValues(state, sandbox);
    lua_pushlightuserdata(sandbox, &entries);
    lua_pushcclosure(sandbox, collectScene, 1);
    lua_setglobal(sandbox, "addSceneToTimeline");
    Result ran = run(sandbox, file);
    lua_close(sandbox);
    if (!ran.ok()) entries.clear();
    return ran;
}

// Fuzzes the Lua function addSceneToTimeline with strings and numbers of every shape for the
// start and the end, and with missing or unconvertible arguments. Each call must either append
// one entry whose times are the base-10 reading of the value's Lua text form, or fail as a Lua
// error without touching the schedule; nothing may crash or leak. Only registered names are
// used: an unknown one ends the program by design.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

extern "C" {
#include <lauxlib.h>
#include <lua.h>
}

#include "framework/demo.h"
#include "framework/script.h"
#include "framework/timeline.h"
#include "tests/support/idlescene.h"

namespace {

// A long name too: its text does not fit in a std::string's own buffer, so a Lua error thrown
// past a live copy of it shows up as a leak.
const char* const names[] = {"intro", "credits", "42", "a scene whose name is longer than any short string"};

// Lua 5.1 writes numbers with "%.14g"
std::string luaText(double number)
{
    char text[64];
    snprintf(text, sizeof(text), "%.14g", number);
    return text;
}

struct Argument {
    enum Kind { Number, Text, Missing, Unconvertible } kind;
    double number;
    std::string text;
};

Argument time(FuzzedDataProvider& input)
{
    switch (input.ConsumeIntegralInRange(0, 9)) {
    case 0: return {Argument::Unconvertible, 0, ""};
    case 1: {  // any bit pattern: NaN, infinities, denormals
        uint64_t bits = input.ConsumeIntegral<uint64_t>();
        double number;
        memcpy(&number, &bits, sizeof(number));
        return {Argument::Number, number, ""};
    }
    case 2: return {Argument::Number, static_cast<double>(input.ConsumeIntegral<int64_t>()), ""};
    case 3: return {Argument::Number, input.ConsumeIntegral<int32_t>() + input.ConsumeProbability<double>(), ""};
    case 4: return {Argument::Text, 0, std::to_string(input.ConsumeIntegral<int64_t>())};
    default: return {Argument::Text, 0, input.ConsumeRandomLengthString(40)};
    }
}

void push(lua_State* state, const Argument& argument)
{
    switch (argument.kind) {
    case Argument::Number: lua_pushnumber(state, argument.number); break;
    case Argument::Text: lua_pushlstring(state, argument.text.data(), argument.text.size()); break;
    case Argument::Unconvertible: lua_newtable(state); break;
    case Argument::Missing: break;
    }
}

int expected(const Argument& argument)
{
    std::string text = argument.kind == Argument::Number ? luaText(argument.number) : argument.text;
    return static_cast<int>(strtol(text.c_str(), nullptr, 10));
}

void clearSchedule()
{
    for (Timeline* entry : timeLine.entries) delete entry;
    timeLine.entries.clear();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    for (const char* name : names) demo.addScene(name, new IdleScene());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider input(data, size);
    const char* name = names[input.ConsumeIntegralInRange<size_t>(0, sizeof(names) / sizeof(names[0]) - 1)];
    Argument start = time(input);
    Argument end = time(input);
    int count = input.ConsumeIntegralInRange(0, 15);  // arguments given: mostly all three
    if (count < 3) (count < 2 ? start : end).kind = Argument::Missing;
    if (count < 2) end.kind = Argument::Missing;

    lua_State* state = script.state;
    lua_getglobal(state, "addSceneToTimeline");
    if (count == 0) {
        // no argument at all
    } else if (strcmp(name, "42") == 0) {
        lua_pushnumber(state, 42);  // a number names the scene by its text form
    } else {
        lua_pushstring(state, name);
    }
    push(state, start);
    push(state, end);
    size_t before = timeLine.entries.size();
    int failed = lua_pcall(state, lua_gettop(state) - 1, 0, 0);

    bool valid = count > 0 && start.kind != Argument::Missing && start.kind != Argument::Unconvertible &&
                 end.kind != Argument::Missing && end.kind != Argument::Unconvertible;
    if (!valid) {
        if (!failed || !strstr(lua_tostring(state, -1), "addSceneToTimeline: argument")) __builtin_trap();
        if (timeLine.entries.size() != before) __builtin_trap();
    } else {
        if (failed || timeLine.entries.size() != before + 1) __builtin_trap();
        Timeline* entry = timeLine.entries.back();
        if (entry->name != name || entry->start != expected(start) || entry->end != expected(end)) __builtin_trap();
    }
    lua_settop(state, 0);
    // This input's strings go now rather than at some later collection: libFuzzer looks for
    // leaks only after inputs that allocated more than they freed, and that look is slow.
    lua_gc(state, LUA_GCCOLLECT, 0);
    clearSchedule();
    return 0;
}

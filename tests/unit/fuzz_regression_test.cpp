// What the fuzzers found, kept as tests (the inputs themselves stay in fuzz/corpus/, where
// every fuzzing run replays them first). In the sanitizer build a leak fails these too.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

extern "C" {
#include <lua.h>
}

#include "framework/demo.h"
#include "framework/script.h"
#include "framework/timeline.h"
#include "tests/support/idlescene.h"

// fuzz/corpus/timeline/long-name-then-missing-end: the name was copied before the end was
// found missing, and the script error jumped past the copy's destructor.
TEST(TimelineScript, ArgumentErrorAfterALongNameLeavesNothingBehind)
{
    const char* name = "a scene whose name is longer than any short string";
    demo.addScene(name, new IdleScene());
    lua_State* state = script.state;
    size_t before = timeLine.entries.size();

    lua_getglobal(state, "addSceneToTimeline");
    lua_pushstring(state, name);
    lua_pushnumber(state, 1000);
    ASSERT_NE(lua_pcall(state, 2, 0, 0), 0);
    EXPECT_THAT(lua_tostring(state, -1), testing::HasSubstr("addSceneToTimeline: argument 3 (end) must be a string or a number"));
    lua_settop(state, 0);

    lua_getglobal(state, "addSceneToTimeline");
    lua_pushstring(state, name);
    lua_newtable(state);
    lua_pushnumber(state, 2000);
    ASSERT_NE(lua_pcall(state, 3, 0, 0), 0);
    EXPECT_THAT(lua_tostring(state, -1), testing::HasSubstr("addSceneToTimeline: argument 2 (start) must be a string or a number"));
    lua_settop(state, 0);

    EXPECT_EQ(timeLine.entries.size(), before);
}

// Live scene code in process: the program's scenes drawn for a while, then the scene module of
// the project's own build swapped in, drawn on. What the scenes carry from frame to frame must
// stand where a showing without the swap has it, frame for frame.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/demo.h"
#include "framework/effects.h"
#include "framework/livecode.h"
#include "framework/timer.h"
#include "scenes/show.h"
#include "scenes/solardistrict.h"
#include "tests/support/drawing.h"
#include "tests/support/idlescene.h"
#include "tests/support/program.h"

using drawing::onePixel;
using drawing::scene;

namespace {

Solardistrict& district() { return *static_cast<Solardistrict*>(demo.scenes["solardistrict"]); }

// The module of the project's build, as a rehearsal loads it after saves of these files: its
// registration, or why there is none
Result rebuilt(const std::vector<std::string>& saved)
{
    Result built;
    livecode.start();
    for (const std::string& file : saved) livecode.rebuild(file);
    program::waitFor(120, [&] { return !(built = livecode.update()).ok() || livecode.arrived(); });
    return built;
}

// Only plain values are kept, their bytes being the value: keeping a string (which points into
// the memory of the module that made it) does not compile.
template <typename T, typename = void>
struct Keepable : std::false_type {};
template <typename T>
struct Keepable<T, std::void_t<decltype(livecode.keep("", std::declval<T&>()))>> : std::true_type {};
static_assert(Keepable<float>::value && Keepable<int[4]>::value, "plain values are kept");
static_assert(!Keepable<std::string>::value, "a string is not");

TEST(Livecode, SwappedScenesGoOnFromTheValuesTheRunningOnesKept)
{
    loadShow();
    timer.holdProcessor(0.0);
    scene("guillotine", 62500, 40);  // the blade shown dropped, 0.002 further each frame
    scene("intro", 6000, 10);        // the arm shaking up from -0.07, 0.004 a frame
    scene("solardistrict", 76000, 25);
    scene("riderideranke", 50000, 30);
    auto carried = [] {
        return std::tuple(district().rotation, district().view, effects.animationFrames, effects.animationPosition);
    };
    const auto running = carried();
    Scene* before = demo.scenes["guillotine"];

    drawing::LogCapture log;
    Result built = rebuilt({"scenes/intro.cpp", "scenes/guillotine.cpp"});
    ASSERT_NE(livecode.arrived(), nullptr) << built.reason();
    EXPECT_THAT(log.lines(), testing::Contains(testing::StartsWith("Livecode: Built in ")).Times(1))
        << "a save during a build stops it";
    demo.swapScenes(livecode.arrived());
    ASSERT_NE(demo.scenes["guillotine"], before) << "the module's scenes run now";
    EXPECT_TRUE(livecode.guarded());

    EXPECT_EQ(carried(), running) << "init set the rotation to 0 and appended the rider's frames again";

    drawing::blankFrame();  // the district left its lighting on
    scene("guillotine", 62500, 60);
    EXPECT_NEAR(drawing::extent(0.75f, drawing::blade).first, 1.0f - 0.002f * 99, onePixel) << "the hundredth drop";
    scene("intro", 6000);
    EXPECT_NEAR(drawing::armOffset(), -0.07f + 0.004f * 10, onePixel) << "the eleventh shake";
}

// The schedule still names scenes the rebuilt show, which lost all but the greets, lacks: the
// running scenes play on.
TEST(Livecode, RebuiltScenesTheScheduleCannotFindAreRefused)
{
    std::map<std::string, Scene*> running = demo.scenes;
    drawing::LogCapture log;
    demo.swapScenes([] { demo.addScene("greets", new IdleScene()); });
    EXPECT_EQ(demo.scenes, running);
    EXPECT_THAT(log.lines(), testing::Contains("Livecode: The rebuilt scenes were not swapped in, the running scenes "
                                               "play on: Script: Error! data/demo.lua:1: addSceneToTimeline: no "
                                               "scene is registered as intro").Times(1));
}

// A value whose type changed, even to one of the same size, starts from what the new scene gives
// it; one whose type stayed goes on. Last: the values kept from here on are these two.
TEST(Livecode, AKeptValueWhoseTypeChangedStartsOver)
{
    float angle = 0.1f, turned = 2.5f;
    livecode.keep("test.angle", angle);
    livecode.keep("test.turned", turned);
    livecode.beginSwap();
    int counted = 7;
    float turning = 0.0f;
    livecode.keep("test.angle", counted);
    livecode.keep("test.turned", turning);
    livecode.endSwap(true);
    EXPECT_EQ(counted, 7);
    EXPECT_EQ(turning, 2.5f);
}

// Without a build directory, its compiler or CMake, one line says so, and saves build nothing.
TEST(Livecode, WithoutABuildACompilerOrCMakeItSaysSoOnceAndBuildsNothing)
{
    fixture::Directory scratch;
    const std::string nowhere = scratch.file("nowhere");
    scratch.write("stale/CMakeCache.txt", "CMAKE_CXX_COMPILER:FILEPATH=" + nowhere + "/c++\n");
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"DEMO_SCENES_BUILD", nowhere, "No build directory at " + nowhere},
        {"DEMO_SCENES_BUILD", scratch.file("stale"), "No compiler at " + nowhere + "/c++"},
        {"PATH", nowhere, "No cmake on the PATH"}};
    for (const auto& [variable, value, said] : cases) {
        const std::string kept = getenv(variable) ? getenv(variable) : "";
        setenv(variable, value.c_str(), 1);
        drawing::LogCapture log;
        Livecode unbuilt;
        unbuilt.start();
        unbuilt.rebuild("scenes/credits.cpp");
        EXPECT_EQ(log.lines(), std::vector<std::string>{"Livecode: " + said + ", saved scenes are not rebuilt"});
        if (kept.empty()) unsetenv(variable);
        else setenv(variable, kept.c_str(), 1);
    }
}

}  // namespace

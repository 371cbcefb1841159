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

// Only plain values are kept, their bytes being the value: keeping a string (which points into
// the memory of the module that made it) does not compile.
auto keeping = [](auto& value) -> decltype(livecode.keep("", value)) {};
static_assert(std::is_invocable_v<decltype(keeping), float&> && std::is_invocable_v<decltype(keeping), int (&)[4]>,
              "plain values are kept");
static_assert(!std::is_invocable_v<decltype(keeping), std::string&>, "a string is not");

TEST(Livecode, SwappedScenesGoOnFromTheValuesTheRunningOnesKept)
{
    loadShow();
    timer.holdProcessor(0.0);
    scene("guillotine", 62500, 40);  // the blade shown dropped, 0.002 further each frame
    scene("intro", 6000, 10);        // the arm shaking up from -0.07, 0.004 a frame
    scene("solardistrict", 76000, 25);
    scene("riderideranke", 50000, 30);
    auto carried = [] {
        auto& district = *static_cast<Solardistrict*>(demo.scenes["solardistrict"]);
        return std::tuple(district.rotation, district.view, effects.animationFrames, effects.animationPosition);
    };
    const auto running = carried();
    Scene* before = demo.scenes["guillotine"];

    // The module of the project's build, as a rehearsal loads it after two saves
    drawing::LogCapture log;
    livecode.start();
    livecode.rebuild("scenes/intro.cpp");
    livecode.rebuild("scenes/guillotine.cpp");
    Result built;
    program::waitFor(120, [&] { return !(built = livecode.update()).ok() || livecode.arrived(); });
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
    EXPECT_EQ(std::pair(counted, turning), std::pair(7, 2.5f));
}

}  // namespace

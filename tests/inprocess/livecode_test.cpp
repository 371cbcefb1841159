// Live scene code in process: the program's scenes drawn for a while, then the scene module of
// the project's own build swapped in, drawn on. What the scenes carry from frame to frame must
// stand where a showing without the swap has it, frame for frame.
#include <gtest/gtest.h>

#include "framework/demo.h"
#include "framework/effects.h"
#include "framework/livecode.h"
#include "framework/timer.h"
#include "scenes/show.h"
#include "scenes/solardistrict.h"
#include "tests/support/drawing.h"
#include "tests/support/program.h"

using drawing::extent;
using drawing::Pixel;

namespace {

const Pixel blade{200, 200, 255}, arm1{255, 255, 0};
const float onePixel = 1.5f / 600;

void draw(const char* scene, int ms, int frames)
{
    for (int i = 0; i < frames; i++) {
        drawing::blankFrame();
        drawing::at(ms);
        demo.scenes[scene]->draw();
    }
}

Solardistrict& district() { return *static_cast<Solardistrict*>(demo.scenes["solardistrict"]); }

// The module of the project's build, as a rehearsal loads it after a save
Livecode::Registration rebuilt()
{
    Livecode::Registration registration = nullptr;
    livecode.start();
    livecode.rebuild("scenes/guillotine.cpp");
    program::waitFor(120, [&] { return (registration = livecode.update()) != nullptr; });
    return registration;
}

TEST(Livecode, SwappedScenesGoOnFromTheValuesTheRunningOnesKept)
{
    loadShow();
    timer.holdProcessor(0.0);
    draw("guillotine", 62500, 40);  // the blade shown dropped, 0.002 further each frame
    draw("intro", 6000, 10);        // the arm shaking up from -0.07, 0.004 a frame
    draw("solardistrict", 76000, 25);
    draw("riderideranke", 50000, 30);
    int rotation = district().rotation, view = district().view;
    std::vector<unsigned int> book = effects.animationFrames;
    double page = effects.animationPosition;
    Scene* before = demo.scenes["guillotine"];

    Livecode::Registration registration = rebuilt();
    ASSERT_NE(registration, nullptr) << livecode.error;
    demo.swapScenes(registration);
    ASSERT_NE(demo.scenes["guillotine"], before) << "the module's scenes run now";
    EXPECT_EQ(livecode.error, "");

    EXPECT_EQ(district().rotation, rotation) << "init set it to 0; the swap gave it back";
    EXPECT_EQ(district().view, view);
    EXPECT_EQ(effects.animationFrames, book) << "init appended the rider's frames again";
    EXPECT_EQ(effects.animationPosition, page);

    draw("guillotine", 62500, 60);
    EXPECT_NEAR(extent(0.75f, blade).first, 1.0f - 0.002f * 99, onePixel) << "the hundredth frame's drop";
    draw("intro", 6000, 1);
    auto [top, bottom] = extent(0.5f, arm1);
    EXPECT_NEAR(top < 1.0f ? top - 1.0f : bottom, -0.07f + 0.004f * 10, onePixel) << "the eleventh shake";
}

}  // namespace

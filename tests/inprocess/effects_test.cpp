// The flat effects as drawn and read back from GL, at music times or frame after frame, and the
// GL state each leaves. The parallax offsets live as long as the process: its test comes first.
#include <gtest/gtest.h>

#include "framework/camera.h"
#include "framework/effects.h"
#include "tests/support/drawing.h"

using namespace drawing;

namespace {

const fixture::Rgba clear{0, 0, 0, 0}, red{255, 0, 0, 255}, green{0, 255, 0, 255}, blue{0, 0, 255, 255};

class Effect : public testing::Test {
protected:
    void SetUp() override { blankFrame(); }

    // Effects draw inside their own 2D mode and leave the stacks as they found them, blending as designed.
    void expectLeft(bool blending)
    {
        EXPECT_EQ(glIsEnabled(GL_BLEND), blending) << "blending";
        EXPECT_EQ(integer(GL_PROJECTION_STACK_DEPTH), 1);
        EXPECT_EQ(integer(GL_MODELVIEW_STACK_DEPTH), 1);
        EXPECT_EQ(integer(GL_MATRIX_MODE), GL_MODELVIEW);
    }
};

// Where the colour begins after another across the row at height y (0 if only at its start), in widths
float risingEdge(float y, Pixel colour)
{
    GLint viewport[4];
    glGetIntegerv(GL_VIEWPORT, viewport);
    int width = viewport[2];
    for (int x = 1; x < width; x++)
        if (pixel((x + 0.5f) / width, y) == colour && pixel((x - 0.5f) / width, y) != colour)
            return static_cast<float>(x) / width;
    return pixel(0, y) == colour ? 0 : -1;
}

TEST_F(Effect, ParallaxLayersScrollLeftByOneTwoAndFourThousandthsPerFrame)
{
    // Each layer is opaque in the left half of its own third of the screen, clear elsewhere.
    texture("back", 1, 1, [](int, int) { return fixture::Rgba{0, 0, 0, 255}; });
    const fixture::Rgba colours[] = {red, green, blue};
    for (int layer = 0; layer < 3; layer++)
        texture("layer" + std::to_string(layer + 1), 2, 3,
                [&](int s, int t) { return s == 0 && t == layer ? colours[layer] : clear; });
    auto scroll = [](const char* way) { effects.parallaxScrolling("back", "layer1", "layer2", "layer3", way); };
    // The first frame draws at 0 and wraps to 1 before stepping; frame 101 draws at 1 - 100 steps.
    glViewport(0, 0, 8, 6);  // the frames before the one measured: a small picture draws fast
    for (int frame = 0; frame < 100; frame++) scroll("left");
    glViewport(0, 0, 800, 600);
    scroll("left");
    EXPECT_NEAR(risingEdge(1 / 6.0f, {255, 0, 0}), 0.9, 0.002);
    EXPECT_NEAR(risingEdge(3 / 6.0f, {0, 255, 0}), 0.8, 0.002);
    EXPECT_NEAR(risingEdge(5 / 6.0f, {0, 0, 255}), 0.6, 0.002);
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_2D));
    expectLeft(false);

    scroll("up");  // says "wrong direction", as a slide does
    scroll("up");
    EXPECT_NEAR(risingEdge(5 / 6.0f, {0, 0, 255}), 0.596, 0.002) << "an unknown direction stops the layers";
}

std::string slideAt(const char* direction, int ms)
{
    at(ms);
    glClear(GL_COLOR_BUFFER_BIT);
    effects.slide(direction, 1000, 2000);
    return row(0.5f, {{'A', {255, 0, 0}}, {'B', {0, 0, 255}}, {'.', {0, 0, 0}}});
}

TEST_F(Effect, SlideStandsAtItsOffsetOnTheMusicClockInEachDirection)
{
    texture("slid", 2, 1, [](int s, int) { return s == 0 ? red : blue; });
    glEnable(GL_TEXTURE_2D);
    // Offsets -1, -1, -0.5 (the right half shows), 0 (at rest), 0, and -0.75: the clock runs
    // backwards too. Then a quarter of the way: -0.25, 0.75, 0.25; and 1 at the end.
    const std::tuple<const char*, int, const char*> cases[] = {
        {"left-in", 500, ".........."},   {"left-in", 1000, ".........."},   {"left-in", 1500, "BBBBB....."},
        {"left-in", 2000, "AAAAABBBBB"},  {"left-in", 9000, "AAAAABBBBB"},   {"left-in", 1250, "BBB......."},
        {"left-out", 1250, "AAABBBBB.."}, {"right-in", 1250, "........AA"},  {"right-out", 1250, "...AAAAABB"},
        {"right-out", 2000, ".........."}, {"left-out", 2000, ".........."}};
    for (const auto& [direction, ms, row] : cases) EXPECT_EQ(slideAt(direction, ms), row) << direction << " at " << ms;
    expectLeft(true);

    slideAt("right-out", 1250);
    std::string drawn;
    EXPECT_EQ(written(1, [&] { drawn = slideAt("up", 1750); }), "wrong direction.. :p\n");
    EXPECT_EQ(drawn, "...AAAAABB") << "an unknown direction draws at the last offset";
}

TEST_F(Effect, FlashFadesOverTwentyFramesThenStartsAgain)
{
    std::vector<int> levels;
    for (int frame = 0; frame < 22; frame++) {
        glClear(GL_COLOR_BUFFER_BIT);
        effects.flash(0);
        levels.push_back(pixel(0.5f, 0.5f)[0]);
    }
    for (int frame = 0; frame < 20; frame++)
        EXPECT_NEAR(levels[frame], 255 * (1 - 0.05 * frame), 1.0) << "frame " << frame;
    EXPECT_EQ(levels[20], 255) << "a new flash";
    EXPECT_NEAR(levels[21], 242, 1.0);
    EXPECT_NEAR(pixel(0.01f, 0.99f)[2], 242, 1.0) << "the whole screen";
    expectLeft(false);
}

TEST_F(Effect, FadeCoversTheScreenByHowFarTheMusicIsThroughItsSpan)
{
    // Black over white: the level left is 255 times one minus the fade's alpha.
    const std::tuple<const char*, int, int> cases[] = {{"out", 2000, 255}, {"out", 3500, 128}, {"out", 4000, 0},
                                                       {"in", 3000, 0},    {"in", 3500, 128},  {"in", 3750, 191},
                                                       {"in", 4000, 255},  {"sideways", 3000, 255}};
    for (const auto& [direction, ms, level] : cases) {
        at(ms);
        glClearColor(1, 1, 1, 0);
        glClear(GL_COLOR_BUFFER_BIT);
        effects.fade(direction, 0, 0, 0, 3000, 4000);
        EXPECT_NEAR(pixel(0.5f, 0.5f)[1], level, 1.0) << direction << " at " << ms;
    }
    expectLeft(false);
}

TEST_F(Effect, FlipBookShowsEachFrameOnceAtSpeedOneAndStartsOverAfterTheLast)
{
    std::vector<unsigned int> saved = effects.animationFrames;
    effects.animationFrames = {texture("f0", 1, 1, [](int, int) { return red; }),
                               texture("f1", 1, 1, [](int, int) { return green; }),
                               texture("f2", 1, 1, [](int, int) { return blue; })};
    effects.animationPosition = 0;
    std::string shown;
    for (int frame = 0; frame < 9; frame++) {
        camera.enable2D();
        effects.textureAnimation(1.0f);
        camera.disable2D();
        shown += row(0.5f, {{'R', {255, 0, 0}}, {'G', {0, 255, 0}}, {'B', {0, 0, 255}}})[5];
    }
    effects.animationFrames = saved;
    // Position 3 equals the frame count and is kept one frame; what it shows is not defined.
    shown[3] = shown[7] = '_';
    EXPECT_EQ(shown, "RGB_RGB_R");
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_2D));
}

}  // namespace

// The six scenes drawn at exact music milliseconds: the screen at the edges of every span, and
// the GL state each leaves. The fixture's pictures are flat colours (tests/support/fixture.cpp),
// so a pixel names the picture. Runs in declaration order in one process: the scenes keep state.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "framework/demo.h"
#include "framework/music.h"
#include "framework/timer.h"
#include "scenes/show.h"
#include "scenes/solardistrict.h"
#include "tests/support/drawing.h"

using namespace drawing;

namespace {

const Pixel layered{100, 50, 128};  // intro_bg under the half-transparent intro_fluer
const Pixel arm2{0, 255, 255}, white{255, 255, 255}, navy{0, 0, 128}, riderBackdrop{60, 30, 0}, head{255, 200, 150};

class Scenes : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        loadShow();
        // The district sways with the processor clock; held still, it draws alike on every run.
        timer.holdProcessor(0.0);
    }

    void SetUp() override { blankFrame(); }

    static Solardistrict& district() { return *static_cast<Solardistrict*>(demo.scenes["solardistrict"]); }
};

// First, while the shake offset is still at its start.
TEST_F(Scenes, IntroArmShakesUpFromBelowThenJittersBetweenOneAndThreeHundredths)
{
    std::vector<float> offsets;
    for (int frame = 0; frame < 45; frame++) {
        scene("intro", 6000);
        offsets.push_back(armOffset());
    }
    EXPECT_NEAR(offsets[0], -0.07f, onePixel) << "the first shake frame";
    for (int frame = 1; frame < 20; frame++) EXPECT_GT(offsets[frame], offsets[frame - 1]) << "rising, frame " << frame;
    auto [lowest, highest] = std::minmax_element(offsets.begin() + 30, offsets.end());
    EXPECT_NEAR(*lowest, 0.01f, onePixel);
    EXPECT_NEAR(*highest, 0.03f, 2 * onePixel);
}

// Just outside the cards the layers show: the arm's rows below.
TEST_F(Scenes, IntroShowsEachTitleCardAloneForItsWholeSpan)
{
    const std::pair<int, Pixel> cards[] = {{10000, {255, 0, 0}}, {14000, {255, 0, 0}}, {24000, {0, 255, 0}},
                                           {28000, {0, 255, 0}}, {38000, {0, 0, 255}}, {43999, {0, 0, 255}}};
    for (const auto& [ms, card] : cards) {
        scene("intro", ms);
        EXPECT_EQ(row(0.1f, {{'C', card}}) + row(0.9f, {{'C', card}}), std::string(20, 'C')) << "at " << ms;
    }
}

TEST_F(Scenes, IntroArmSlidesInFromTheRightAndOutAgainOnTheMusicClock)
{
    const std::pair<int, const char*> frames[] = {
        {0, ".........."},     {2500, ".....11111"}, {4999, "1111111111"},  // in from the right
        {7000, "2222222222"},  {9999, "......2222"},  // the second arm starts out; 60% gone at the card
        {14001, ".........."}, {16500, ".....11111"}, {21000, "2222222222"}, {23999, "......2222"},
        {28001, ".........."}, {30000, ".....11111"}, {35000, "2222222222"}, {37999, "......2222"},
        {34000, ".........."}, {50000, ".........."}};  // no arm between the spans and after them
    for (const auto& [ms, expected] : frames) {
        scene("intro", ms);
        EXPECT_EQ(row(0.5f, {{'.', layered}, {'1', arm1}, {'2', arm2}}), expected) << "at " << ms;
    }
}

// The blade covers the top half of the screen on the right, the head the bottom half on the
// left; each drops by its offset while on its beat, and the offsets grow every frame drawn.
TEST_F(Scenes, GuillotineDropsBladeAndHeadOnTheirBeatsByHowManyFramesWereDrawn)
{
    int frames = 100;
    scene("guillotine", 64500, frames);
    const std::tuple<int, bool, bool> moments[] = {
        {61999, false, false}, {62000, true, false}, {62500, true, false}, {62799, true, false}, {62800, true, true},
        {63000, true, true},   {63001, false, true}, {64000, false, true}, {64001, false, false}, {66000, true, false},
        {66900, true, true},   {68000, false, true}, {70000, true, false}, {71000, true, true}, {72000, false, true},
        {72001, false, false}};
    for (const auto& [ms, bladeDown, headDown] : moments) {
        float bladeOffset = bladeDown ? -0.002f * frames : 0.0f, headOffset = headDown ? -0.001f * frames : 0.0f;
        scene("guillotine", ms);
        frames++;
        EXPECT_NEAR(extent(0.75f, blade).first, 1.0f + bladeOffset, onePixel) << "the blade at " << ms;
        EXPECT_NEAR(extent(0.25f, head).first, 0.5f + headOffset, onePixel) << "the head at " << ms;
    }
}

TEST_F(Scenes, RiderBobsToANewHeightEvery150Milliseconds)
{
    const std::pair<int, double> heights[] = {{0, 0.3}, {149, 0.3}, {150, cos(1.0) / 5 + 0.1},
                                              {449, cos(2.0) / 5 + 0.1}, {450, cos(3.0) / 5 + 0.1},
                                              {46050, cos(307.0) / 5 + 0.1}};
    for (const auto& [ms, height] : heights) {
        scene("riderideranke", ms);
        auto [top, bottom] = extent(0.5f, riderBackdrop);  // the backdrop shows below or above the rider
        EXPECT_NEAR(height > 0 ? top : bottom - 1.0f, height, onePixel) << "at " << ms;
    }
}

TEST_F(Scenes, RiderShowsEachOfItsTwoFramesForFiftyDrawnFrames)
{
    glViewport(0, 0, 32, 24);  // colours only: a small picture draws fast
    std::vector<int> runs = {0};
    Pixel last = pixel(0.5f, 0.5f);
    for (int frame = 0; frame < 230; frame++) {
        scene("riderideranke", 50000);
        Pixel shown = pixel(0.5f, 0.5f);
        if (shown != last && frame > 0) runs.push_back(0);
        runs.back()++;
        last = shown;
    }
    // The first run is cut by earlier tests' frames; the flip-book's float steps land a frame late at times.
    for (size_t i = 1; i + 1 < runs.size(); i++) EXPECT_NEAR(runs[i], 50, 1) << "run " << i;
    EXPECT_GE(runs.size(), 4u);
    glViewport(0, 0, 800, 600);
}

TEST_F(Scenes, CreditsScrollUpOneScreenFromFourToTenSecondsOfMusic)
{
    // Where the navy lower half of the picture ends on screen; none shows before the scroll, no white after
    const std::pair<int, float> scroll[] = {{0, 0.0f}, {4000, 0.0f}, {5500, 0.25f}, {7000, 0.5f}, {10000, 1.0f},
                                            {125000, 1.0f}};
    for (const auto& [ms, edge] : scroll) {
        scene("credits", ms);
        EXPECT_NEAR(edge > 0 ? extent(0.5f, navy).first : 0, edge, onePixel) << "at " << ms;
        EXPECT_NEAR(edge < 1 ? extent(0.5f, white).second : 1, edge, onePixel) << "at " << ms;
    }
}

TEST_F(Scenes, FlatScenesLeaveBlendingAndTheirTwoDimensionalModeAsDesigned)
{
    // Intro, guillotine and credits stay in 2D mode, one more level on both stacks per frame;
    // the credits leave blending as they found it (on, here) and release their picture.
    const std::tuple<const char*, int, int, bool> scenes[] = {
        {"intro", 34000, 2, false}, {"guillotine", 62500, 2, false}, {"credits", 7000, 2, true},
        {"riderideranke", 50000, 1, false}};
    for (const auto& [name, ms, levels, blending] : scenes) {
        blankFrame();
        glEnable(GL_BLEND);
        scene(name, ms);
        EXPECT_EQ(integer(GL_PROJECTION_STACK_DEPTH), levels) << name;
        EXPECT_EQ(integer(GL_MODELVIEW_STACK_DEPTH), levels) << name;
        EXPECT_EQ(integer(GL_MATRIX_MODE), GL_MODELVIEW) << name;
        EXPECT_EQ(glIsEnabled(GL_BLEND), blending) << name;
    }
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_2D)) << "the rider's effects switch texturing off";
    scene("credits", 7000);
    EXPECT_EQ(integer(GL_TEXTURE_BINDING_2D), 0);
}

TEST_F(Scenes, DistrictJumpsToTheNextCameraPresetAtItsMusicTimes)
{
    district().init();
    const std::pair<int, int> views[] = {{6990, 3},  {7000, 0},  {7010, 0},  {10000, 0}, {11000, 1},
                                         {13990, 1}, {14000, 2}, {16990, 2}, {17000, 3}, {21000, 0}};
    for (const auto& [ms, view] : views) {
        scene("solardistrict", ms);
        EXPECT_EQ(district().view, view) << "after a frame at " << ms;
    }
}

TEST_F(Scenes, DistrictPresetsLookFromTheirEyePoints)
{
    const std::pair<int, std::array<double, 3>> eyes[] = {{0, {5, 2.2, 0}}, {2, {10, 5, 10}}, {3, {10, 20.2, 10}},
                                                          {4, {0, 0, 0}}};
    for (const auto& [view, eye] : eyes) {
        glLoadIdentity();
        district().setPerspective(view);
        double m[16];
        glGetDoublev(GL_MODELVIEW_MATRIX, m);
        for (int axis = 0; axis < 3; axis++) {
            // The eye is where the view puts the origin: minus the translation, turned back
            double at = -(m[axis * 4] * m[12] + m[axis * 4 + 1] * m[13] + m[axis * 4 + 2] * m[14]);
            EXPECT_NEAR(at, eye[axis], 1e-4) << "view " << view << ", axis " << axis;
        }
    }
}

TEST_F(Scenes, DistrictLeavesLightingDepthAndColourMaterialOnForWhatFollows)
{
    scene("intro", 34000);  // a 2D scene leaves a level pushed; the district pops it
    district().init();
    scene("solardistrict", 80000);
    for (GLenum capability : {GL_LIGHTING, GL_LIGHT0, GL_DEPTH_TEST, GL_COLOR_MATERIAL})
        EXPECT_TRUE(glIsEnabled(capability)) << "capability " << capability;
    EXPECT_EQ((std::array{integer(GL_COLOR_MATERIAL_FACE), integer(GL_COLOR_MATERIAL_PARAMETER),
                          integer(GL_TEXTURE_BINDING_2D), integer(GL_PROJECTION_STACK_DEPTH),
                          integer(GL_MODELVIEW_STACK_DEPTH)}),
              (std::array{GL_FRONT, GL_AMBIENT, 0, 1, 1}));
}

// How brightly a lit surface shows its texel: k when the pixel is the texel scaled by k, else -1
float litShare(Pixel shown, Pixel texel)
{
    float k = static_cast<float>(std::max({shown[0], shown[1], shown[2]})) / std::max({texel[0], texel[1], texel[2]});
    for (int c = 0; c < 3; c++)
        if (std::abs(shown[c] - k * texel[c]) > 3) return -1;
    return k;
}

TEST_F(Scenes, DistrictIsDrawnLitFromHighAboveAtBothEndsOfItsSpan)
{
    // From the high preset the ground fills the lower left, the garden lies right of the middle
    // below the spheres, a building's lit face stands above the middle and the sky is black.
    const std::tuple<float, float, Pixel, const char*> points[] = {{0.25f, 0.22f, {0, 128, 0}, "ground"},
                                                                   {0.65f, 0.22f, {128, 128, 0}, "garden"},
                                                                   {0.525f, 0.52f, {128, 64, 64}, "building"}};
    for (int ms : {74000, 121999}) {
        blankFrame();
        district().init();
        at(ms);
        demo.draw();
        for (const auto& [x, y, texel, what] : points)
            EXPECT_GT(litShare(pixel(x, y), texel), 0.3f) << what << " at " << ms << ": lit beyond the ambient fifth";
        EXPECT_EQ(pixel(0.125f, 0.83f), (Pixel{0, 0, 0})) << "the sky at " << ms;
    }
}

TEST_F(Scenes, DemoEndsNinetyNineMillisecondsBeforeTheMusicDoes)
{
    int length = music.getLength();
    for (int ms : {length - 101, length - 100, length - 99}) {
        demo.running = true;
        demo.paused = false;
        at(ms);
        demo.update();
        EXPECT_EQ(demo.running, ms < length - 99) << "after a frame at " << ms << " of " << length;
    }
}

}  // namespace

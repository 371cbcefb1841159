// The flat effects as drawn: where a slide stands at a music time, how a flash and a fade
// cover the screen, where each parallax layer is drawn frame after frame, what the flip-book
// shows, and the blend modes the key cycles through. Everything is read back from GL.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <tuple>

#include "framework/camera.h"
#include "framework/effects.h"
#include "framework/music.h"
#include "tests/unit/toolkit.h"

using toolkit::integer;
using toolkit::Pixel;
using toolkit::pixelAt;

namespace {

const fixture::Rgba opaqueRed{255, 0, 0, 255}, opaqueGreen{0, 255, 0, 255}, opaqueBlue{0, 0, 255, 255};

unsigned int solid(const std::string& name, fixture::Rgba colour)
{
    return toolkit::addTexture(name, toolkit::makeTexture(1, 1, [colour](int, int) { return colour; }));
}

class Flat : public testing::Test {
protected:
    void SetUp() override
    {
        toolkit::blankFrame();
        projectionDepth = integer(GL_PROJECTION_STACK_DEPTH);
        modelviewDepth = integer(GL_MODELVIEW_STACK_DEPTH);
        music.start();
        music.setPause(true);
    }

    void at(int ms)
    {
        music.setPosition(ms);
        ASSERT_EQ(music.getPosition(), ms);
    }

    void clearTo(float r, float g, float b)
    {
        glClearColor(r, g, b, 0.0f);
        glClear(GL_COLOR_BUFFER_BIT);
    }

    void expectStacksAsFound()
    {
        EXPECT_EQ(integer(GL_PROJECTION_STACK_DEPTH), projectionDepth);
        EXPECT_EQ(integer(GL_MODELVIEW_STACK_DEPTH), modelviewDepth);
        EXPECT_EQ(integer(GL_MATRIX_MODE), GL_MODELVIEW);
    }

    int projectionDepth = 0, modelviewDepth = 0;
};

// --- slide ----------------------------------------------------------------------------------

// Ten samples across the middle row: 'A' the picture's left half, 'B' its right half, '.' none.
std::string slideRow()
{
    std::string row;
    for (int k = 0; k < 10; k++) {
        Pixel p = pixelAt(0.04f + 0.1f * k, 0.5f);
        row += p == Pixel{255, 0, 0} ? 'A' : p == Pixel{0, 0, 255} ? 'B' : p == Pixel{0, 0, 0} ? '.' : '?';
    }
    return row;
}

class Slide : public Flat {
protected:
    void SetUp() override
    {
        Flat::SetUp();
        toolkit::makeTexture(2, 1, [](int s, int) { return s == 0 ? opaqueRed : opaqueBlue; });
        glEnable(GL_TEXTURE_2D);
    }

    std::string slideAt(const char* direction, int ms)
    {
        at(ms);
        glClear(GL_COLOR_BUFFER_BIT);
        effects.slide(direction, 1000, 2000);
        return slideRow();
    }
};

TEST_F(Slide, EachDirectionStandsAtItsOffsetOnTheMusicClock)
{
    // Offsets -1, -1, -0.5 (the right half shows), 0 (at rest), 0, and -0.75: the clock runs
    // backwards too. Then a quarter of the way: -0.25, 0.75, 0.25; and 1 at the end.
    const std::tuple<const char*, int, const char*> cases[] = {
        {"left-in", 500, ".........."},   {"left-in", 1000, ".........."},   {"left-in", 1500, "BBBBB....."},
        {"left-in", 2000, "AAAAABBBBB"},  {"left-in", 9000, "AAAAABBBBB"},   {"left-in", 1250, "BBB......."},
        {"left-out", 1250, "AAABBBBB.."}, {"right-in", 1250, "........AA"},  {"right-out", 1250, "...AAAAABB"},
        {"right-out", 2000, ".........."}};
    for (const auto& [direction, ms, row] : cases) EXPECT_EQ(slideAt(direction, ms), row) << direction << " at " << ms;
    EXPECT_TRUE(glIsEnabled(GL_BLEND)) << "a slide leaves blending on";
    expectStacksAsFound();
}

TEST_F(Slide, UnknownDirectionSaysSoAndDrawsAtTheLastOffset)
{
    slideAt("right-out", 1250);
    testing::internal::CaptureStdout();
    EXPECT_EQ(slideAt("up", 1750), "...AAAAABB");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "wrong direction.. :p\n");
}

// --- flash and fade -------------------------------------------------------------------------

TEST_F(Flat, FlashFadesOverTwentyFramesThenStartsAgain)
{
    glMatrixMode(GL_PROJECTION);  // as a resize leaves it
    std::vector<int> levels;
    for (int frame = 0; frame < 22; frame++) {
        glClear(GL_COLOR_BUFFER_BIT);
        effects.flash(0);
        levels.push_back(pixelAt(0.5f, 0.5f)[0]);
    }
    for (int frame = 0; frame < 20; frame++)
        EXPECT_NEAR(levels[frame], 255 * (1 - 0.05 * frame), 1.0) << "frame " << frame;
    EXPECT_EQ(levels[20], 255) << "a new flash";
    EXPECT_NEAR(levels[21], 242, 1.0);
    EXPECT_FLOAT_EQ(effects.flashAlpha, 0.9f);
    EXPECT_NEAR(pixelAt(0.01f, 0.99f)[2], 242, 1.0) << "the whole screen";
    EXPECT_FALSE(glIsEnabled(GL_BLEND));
    expectStacksAsFound();
}

TEST_F(Flat, FadeFollowsTheMusicBetweenStartAndEnd)
{
    auto fadeAt = [this](const char* direction, float r, int ms) {
        at(ms);
        clearTo(1, 1, 1);
        effects.fade(direction, r, 0, 0, 3000, 4000);
        return pixelAt(0.5f, 0.5f);
    };
    EXPECT_NEAR(fadeAt("out", 0, 3500)[1], 127.5, 1.0) << "black at half";
    EXPECT_FLOAT_EQ(effects.fadeAlpha, 0.5f);
    EXPECT_EQ(fadeAt("out", 0, 2000), (Pixel{255, 255, 255})) << "nothing before the start";
    EXPECT_EQ(fadeAt("out", 1, 4000), (Pixel{255, 0, 0})) << "the colour covers the screen at the end";
    EXPECT_EQ(fadeAt("in", 0, 3000), (Pixel{0, 0, 0})) << "fading in starts covered";
    EXPECT_NEAR(fadeAt("in", 0, 3500)[1], 127.5, 1.0);
    EXPECT_NEAR(fadeAt("in", 0, 3750)[1], 191.25, 1.0);

    testing::internal::CaptureStdout();
    EXPECT_NEAR(fadeAt("sideways", 0, 3000)[1], 191.25, 1.0) << "keeps the last alpha";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "silently";
    EXPECT_FALSE(glIsEnabled(GL_BLEND));
    expectStacksAsFound();
}

// --- blend modes ----------------------------------------------------------------------------

TEST_F(Flat, BlendKeyCyclesFiveFactorPairsBackToAlphaBlending)
{
    toolkit::LogCapture log;
    const int pairs[5][2] = {{GL_ONE, GL_ZERO},
                             {GL_ONE, GL_ONE},
                             {GL_ONE, GL_ONE_MINUS_DST_ALPHA},
                             {GL_SRC_ALPHA, GL_ONE},
                             {GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA}};
    for (const auto& pair : pairs) {
        glBlendFunc(GL_ZERO, GL_ZERO);
        effects.blendingMode();
        EXPECT_EQ(integer(GL_BLEND_SRC), GL_ZERO) << "the key alone changes no GL state";
        effects.blending(true);
        EXPECT_TRUE(glIsEnabled(GL_BLEND));
        EXPECT_EQ(integer(GL_BLEND_SRC), pair[0]);
        EXPECT_EQ(integer(GL_BLEND_DST), pair[1]);
        effects.blending(false);
        EXPECT_FALSE(glIsEnabled(GL_BLEND));
    }
    EXPECT_EQ(log.lines(), (std::vector<std::string>{"Effects: Blending mode: Src: 1 Dest: 0",
                                                     "Effects: Blending mode: Src: 1 Dest: 1",
                                                     "Effects: Blending mode: Src: 1 Dest: 773",
                                                     "Effects: Blending mode: Src: 770 Dest: 1",
                                                     "Effects: Blending mode: Src: 770 Dest: 771"}));
}

TEST_F(Flat, BlendedEffectsDrawInTheCurrentMode)
{
    effects.blendingMode();
    effects.blendingMode();  // additive
    at(5000);
    clearTo(0.4f, 0, 0);
    effects.fade("out", 0, 0.2f, 0, 3000, 4000);
    EXPECT_EQ(pixelAt(0.5f, 0.5f), (Pixel{102, 51, 0})) << "added to the red, not over it";
}

// --- parallax -------------------------------------------------------------------------------

// Each layer picture tells where it was drawn: texel s carries its own index in red and green,
// opaque only in the layer's own quarter of the screen (layer 1 lowest), so one pixel per
// quarter reads back the offset of one layer to within a texel.
const int layerWidth = 8192;

unsigned int layer(const std::string& name, int band)
{
    return toolkit::addTexture(name, toolkit::makeTexture(layerWidth, 4, [band](int s, int t) {
        unsigned char alpha = t == band ? 255 : 0;
        return fixture::Rgba{static_cast<unsigned char>(s & 255), static_cast<unsigned char>(s >> 8), 255, alpha};
    }));
}

class Parallax : public Flat {
protected:
    void SetUp() override
    {
        Flat::SetUp();
        ASSERT_GE(integer(GL_MAX_TEXTURE_SIZE), layerWidth);
        solid("back.png", {50, 100, 150, 255});
        layer("near.png", 2);
        layer("middle.png", 1);
        layer("far.png", 0);
        // Thousands of frames: a small viewport keeps them cheap; the texels say where.
        glViewport(0, 0, 64, 8);
    }

    // Draws one frame and returns the offset modulo 1 each layer was drawn at
    std::array<double, 3> frame(const char* direction)
    {
        glClear(GL_COLOR_BUFFER_BIT);
        effects.parallaxScrolling("back.png", "far.png", "middle.png", "near.png", direction);
        std::array<double, 3> offsets;
        for (int band = 0; band < 3; band++) {
            float x = 0.5f, y = (band + 0.5f) / 4;
            Pixel p = pixelAt(x, y);
            EXPECT_EQ(p[2], 255) << "layer " << band + 1 << " drawn";
            double centre = (static_cast<int>(x * 64) + 0.5) / 64;
            double s = (p[0] + 256 * p[1] + 0.5) / layerWidth;
            offsets[band] = centre - s - floor(centre - s);
        }
        return offsets;
    }

    // Runs `frames` frames and compares each layer with where it should stand: drawn at its
    // offset, then an offset at or past the edge it moves toward restarts from the other edge
    // before taking its step (kept in single precision, as the offsets are). Returns how often
    // the slowest layer restarted.
    int scroll(const char* direction, int frames)
    {
        const double steps[3] = {0.001, 0.002, 0.004};
        bool right = std::string(direction) == "right";
        int restarts = 0;
        for (int n = 0; n < frames; n++) {
            std::array<double, 3> drawn = frame(direction);
            for (int l = 0; l < 3; l++) {
                float& offset = expectedOffsets[l];
                if (!near(drawn[l], offset)) {
                    ADD_FAILURE() << direction << " frame " << n << ": layer " << l + 1 << " at " << drawn[l]
                                  << ", not " << offset;
                    return restarts;
                }
                if (right ? offset >= 1 : offset <= 0) {
                    offset = right ? 0 : 1;
                    restarts += l == 0;
                }
                offset = static_cast<float>(offset + (right ? steps[l] : -steps[l]));
            }
        }
        return restarts;
    }

    // Within a texel, the screen being one picture wide
    static bool near(double drawn, double offset)
    {
        double apart = std::fabs(drawn - (offset - floor(offset)));
        return std::min(apart, 1 - apart) < 1.5 / layerWidth;
    }

    float expectedOffsets[3] = {0, 0, 0};
};

TEST_F(Parallax, LayersScrollOneTwoFourThousandthsAndRestartAtTheEdges)
{
    EXPECT_EQ(scroll("right", 1100), 1) << "the slowest layer crosses the screen in about 1000 frames";
    EXPECT_EQ(scroll("left", 600), 1) << "back from where it stopped, about 0.1, past 0";
    EXPECT_EQ(pixelAt(0.5f, 0.875f), (Pixel{50, 100, 150})) << "the background under all layers";
    EXPECT_FALSE(glIsEnabled(GL_BLEND));
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_2D));
    expectStacksAsFound();
}

TEST_F(Parallax, UnknownDirectionSaysSoAndHoldsTheLayers)
{
    frame("left");
    std::array<double, 3> before = frame("left");
    testing::internal::CaptureStdout();
    std::array<double, 3> held = frame("down");
    std::array<double, 3> after = frame("down");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "wrong direction.. :p\nwrong direction.. :p\n");
    EXPECT_TRUE(near(before[0], 0.999));
    EXPECT_TRUE(near(held[0], 0.998)) << held[0];
    EXPECT_TRUE(near(held[2], 0.992)) << held[2];
    EXPECT_EQ(held, after);
}

// --- flip-book, overlay, noise, sphere mapping ----------------------------------------------

TEST_F(Flat, FlipBookShowsEachFrameThenTheFirstAtTheCountThenRestarts)
{
    unsigned int yellow = solid("yellow.png", {255, 255, 0, 255});
    auto show = [](float speed) {
        glClear(GL_COLOR_BUFFER_BIT);
        camera.enable2D();
        effects.textureAnimation(speed);
        camera.disable2D();
        return pixelAt(0.5f, 0.5f);
    };
    EXPECT_EQ(show(1.0f), (Pixel{255, 255, 0})) << "an empty flip-book binds nothing";
    EXPECT_EQ(integer(GL_TEXTURE_BINDING_2D), static_cast<int>(yellow));
    EXPECT_EQ(effects.animationPosition, 0.0);

    solid("one.png", opaqueRed);
    solid("two.png", opaqueGreen);
    solid("three.png", opaqueBlue);
    for (const char* name : {"one.png", "two.png", "three.png"}) effects.addToAnimation(name);
    const Pixel red{255, 0, 0}, green{0, 255, 0}, blue{0, 0, 255};
    std::vector<Pixel> shown;
    for (int i = 0; i < 6; i++) shown.push_back(show(1.0f));
    EXPECT_EQ(shown, (std::vector<Pixel>{red, green, blue, red, red, green}));
    EXPECT_EQ(effects.animationPosition, 2.0);

    effects.animationPosition = 0;
    shown.clear();
    for (int i = 0; i < 4; i++) shown.push_back(show(0.4f));
    EXPECT_EQ(shown, (std::vector<Pixel>{red, red, red, green})) << "the position is truncated";
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_2D));
}

TEST_F(Flat, OverlayCoversTheScreenAndUnbinds)
{
    solid("overlay.png", {255, 128, 0, 255});
    effects.overlay("overlay.png");
    EXPECT_EQ(pixelAt(0.01f, 0.01f), (Pixel{255, 128, 0}));
    EXPECT_EQ(pixelAt(0.99f, 0.99f), (Pixel{255, 128, 0}));
    EXPECT_EQ(integer(GL_TEXTURE_BINDING_2D), 0);
    EXPECT_FALSE(glIsEnabled(GL_BLEND)) << "blending as the caller left it";
    expectStacksAsFound();
}

TEST_F(Flat, NoiseShowsOneOfThreePicturesAtAnAlphaInItsRange)
{
    solid("red.png", opaqueRed);
    solid("green.png", opaqueGreen);
    solid("blue.png", opaqueBlue);
    solid("white.png", {255, 255, 255, 255});
    std::set<Pixel> seen;
    for (int i = 0; i < 60; i++) {
        glClear(GL_COLOR_BUFFER_BIT);
        effects.noise("red.png", "green.png", "blue.png", 1.0f, 1.0f);
        seen.insert(pixelAt(0.3f, 0.6f));
    }
    EXPECT_EQ(seen, (std::set<Pixel>{{255, 0, 0}, {0, 255, 0}, {0, 0, 255}}));

    std::set<int> levels;
    for (int i = 0; i < 60; i++) {
        glClear(GL_COLOR_BUFFER_BIT);
        effects.noise("white.png", "white.png", "white.png", 0.5f, 0.5f);
        int level = pixelAt(0.3f, 0.6f)[0];
        EXPECT_GE(level, 63);
        EXPECT_LE(level, 128) << "alpha between 0.25 and 0.5";
        levels.insert(level);
    }
    EXPECT_GT(levels.size(), 10u) << "the alpha flickers";
    EXPECT_TRUE(glIsEnabled(GL_BLEND)) << "noise leaves blending on";
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_2D));
    expectStacksAsFound();
}

TEST_F(Flat, SphereMappingGeneratesBothCoordinatesAndRejectsTheStrayParameters)
{
    while (glGetError() != GL_NO_ERROR) {
    }
    effects.enableSEM();
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_INVALID_ENUM));
    GLint mode[2];
    glGetTexGeniv(GL_S, GL_TEXTURE_GEN_MODE, &mode[0]);
    glGetTexGeniv(GL_T, GL_TEXTURE_GEN_MODE, &mode[1]);
    EXPECT_EQ(mode[0], GL_SPHERE_MAP);
    EXPECT_EQ(mode[1], GL_SPHERE_MAP);
    EXPECT_TRUE(glIsEnabled(GL_TEXTURE_GEN_S));
    EXPECT_TRUE(glIsEnabled(GL_TEXTURE_GEN_T));
    effects.disableSEM();
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_GEN_S));
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_GEN_T));
}

}  // namespace

// The shared drawing and number helpers: which way up the full-screen quads put a picture
// (read back as pixels), what a light uploads to GL, the clamped progress and the random range.
#include <gtest/gtest.h>

#include <cstdlib>

#include "framework/camera.h"
#include "framework/light.h"
#include "framework/math.h"
#include "framework/primitives.h"
#include "tests/unit/toolkit.h"

using toolkit::Pixel;
using toolkit::pixelAt;

namespace {

const Pixel red{255, 0, 0}, green{0, 255, 0}, blue{0, 0, 255}, white{255, 255, 255}, black{0, 0, 0};

// Four texels, one colour each: row t = 0 red, green; row t = 1 blue, white.
void bindCorners()
{
    toolkit::makeTexture(2, 2, [](int s, int t) -> fixture::Rgba {
        if (t == 0) return s == 0 ? fixture::Rgba{255, 0, 0, 255} : fixture::Rgba{0, 255, 0, 255};
        return s == 0 ? fixture::Rgba{0, 0, 255, 255} : fixture::Rgba{255, 255, 255, 255};
    });
    glEnable(GL_TEXTURE_2D);
}

// Top left, top right, bottom left, bottom right
using Corners = std::array<Pixel, 4>;

Corners picture(bool mirrorX, bool mirrorY, float shiftS, float shiftT)
{
    glClear(GL_COLOR_BUFFER_BIT);
    camera.enable2D();
    primitives.fullscreenPicture(mirrorX, mirrorY, shiftS, shiftT);
    camera.disable2D();
    return {pixelAt(0.25f, 0.75f), pixelAt(0.75f, 0.75f), pixelAt(0.25f, 0.25f), pixelAt(0.75f, 0.25f)};
}

std::array<float, 4> light(GLenum which, GLenum parameter)
{
    std::array<float, 4> value{-9, -9, -9, -9};
    glGetLightfv(which, parameter, value.data());
    return value;
}

}  // namespace

TEST(Primitives, PictureStandsUprightAndTheFlagsMirrorIt)
{
    toolkit::blankFrame();
    bindCorners();
    EXPECT_EQ(picture(false, false, 0, 0), (Corners{red, green, blue, white})) << "texture row t = 0 on top";
    EXPECT_EQ(picture(true, false, 0, 0), (Corners{green, red, white, blue})) << "left to right";
    EXPECT_EQ(picture(false, true, 0, 0), (Corners{blue, white, red, green})) << "upside down";
    EXPECT_EQ(picture(true, true, 0, 0), (Corners{white, blue, green, red}));
    EXPECT_EQ(picture(false, false, 0.5f, 0), (Corners{green, red, white, blue})) << "half a picture along s";
    EXPECT_EQ(picture(false, false, 0, 0.5f), (Corners{blue, white, red, green})) << "half a picture along t";
}

TEST(Primitives, FullscreenQuadMapsPositionsOntoTextureCoordinatesFacingTheViewer)
{
    toolkit::blankFrame();
    bindCorners();
    glNormal3f(0.0f, 1.0f, 0.0f);
    camera.enable2D();
    primitives.fullscreenQuad();
    camera.disable2D();
    EXPECT_EQ(pixelAt(0.25f, 0.25f), red) << "texture (0,0) at the bottom left";
    EXPECT_EQ(pixelAt(0.75f, 0.25f), green);
    EXPECT_EQ(pixelAt(0.25f, 0.75f), blue);
    EXPECT_EQ(pixelAt(0.75f, 0.75f), white);
    float normal[3];
    glGetFloatv(GL_CURRENT_NORMAL, normal);
    EXPECT_EQ(std::vector<float>(normal, normal + 3), (std::vector<float>{0, 0, 1}));
}

TEST(Primitives, QuadIsCentredOnTheOriginWithTheGivenHalfSide)
{
    toolkit::blankFrame();
    camera.enable2D();
    glTranslatef(0.5f, 0.5f, 0.0f);
    primitives.quad(0.25f);
    camera.disable2D();
    EXPECT_EQ(pixelAt(0.3f, 0.3f), white);
    EXPECT_EQ(pixelAt(0.7f, 0.7f), white);
    EXPECT_EQ(pixelAt(0.2f, 0.5f), black);
    EXPECT_EQ(pixelAt(0.8f, 0.5f), black);
    EXPECT_EQ(pixelAt(0.5f, 0.2f), black);
    EXPECT_EQ(pixelAt(0.5f, 0.8f), black);
}

TEST(Light, FreshLightUploadsAWhitePositionalLightWithoutSwitchingItOn)
{
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    Light fresh;
    fresh.use(GL_LIGHT0);
    using Four = std::array<float, 4>;
    EXPECT_EQ(light(GL_LIGHT0, GL_POSITION), (Four{1, 0, 0, 1}));
    EXPECT_EQ(light(GL_LIGHT0, GL_DIFFUSE), (Four{1, 1, 1, 1}));
    EXPECT_EQ(light(GL_LIGHT0, GL_AMBIENT), (Four{0, 0, 0, 0}));
    EXPECT_EQ(light(GL_LIGHT0, GL_SPECULAR), (Four{0, 0, 0, 1}));
    EXPECT_EQ(light(GL_LIGHT0, GL_SPOT_DIRECTION), (Four{0, 0, 0, -9})) << "three components";
    EXPECT_FALSE(glIsEnabled(GL_LIGHT0));
    EXPECT_FALSE(glIsEnabled(GL_LIGHTING));
}

TEST(Light, SettersReachTheNamedLightButTheSpotExponentNever)
{
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    Light lamp;
    lamp.setPosition(2, 3, 4);
    lamp.setSpotDirection(0, -1, 0);
    lamp.setSpotExponent(8);
    lamp.setAmbient(0.1f, 0.2f, 0.3f, 0.4f);
    lamp.setDiffuse(0.5f, 0.6f, 0.7f, 0.8f);
    lamp.setSpecular(0.25f, 0.5f, 0.75f, 1.0f);
    lamp.use(GL_LIGHT1);
    using Four = std::array<float, 4>;
    EXPECT_EQ(light(GL_LIGHT1, GL_POSITION), (Four{2, 3, 4, 1})) << "always positional";
    EXPECT_EQ(light(GL_LIGHT1, GL_SPOT_DIRECTION), (Four{0, -1, 0, -9}));
    EXPECT_EQ(light(GL_LIGHT1, GL_SPOT_EXPONENT)[0], 0.0f);
    EXPECT_EQ(light(GL_LIGHT1, GL_AMBIENT), (Four{0.1f, 0.2f, 0.3f, 0.4f}));
    EXPECT_EQ(light(GL_LIGHT1, GL_DIFFUSE), (Four{0.5f, 0.6f, 0.7f, 0.8f}));
    EXPECT_EQ(light(GL_LIGHT1, GL_SPECULAR), (Four{0.25f, 0.5f, 0.75f, 1.0f}));

    lamp.setDefaults();
    lamp.use(GL_LIGHT1);
    EXPECT_EQ(light(GL_LIGHT1, GL_POSITION), (Four{1, 0, 0, 1}));
    EXPECT_EQ(light(GL_LIGHT1, GL_DIFFUSE), (Four{1, 1, 1, 1}));
}

TEST(Math, ProgressIsZeroUpToTheStartAndOneFromTheEnd)
{
    EXPECT_EQ(math.calcPosFloat(5, 5, 10), 0.0);
    EXPECT_EQ(math.calcPosFloat(10, 5, 10), 1.0);
    EXPECT_EQ(math.calcPosFloat(7.5f, 5, 10), 0.5);
    EXPECT_EQ(math.calcPosFloat(4, 5, 10), 0.0);
    EXPECT_EQ(math.calcPosFloat(11, 5, 10), 1.0);
    EXPECT_EQ(math.calcPosFloat(6, 5, 5), 1.0) << "an empty span jumps straight to 1";
    EXPECT_EQ(math.calcPosFloat(4, 5, 3), 0.0) << "an inverted span is 0 up to its start";
    EXPECT_EQ(math.calcPosFloat(5, 5, 3), 0.0);
    EXPECT_DOUBLE_EQ(math.calcPosFloat(1, 0, 3), 1.0 / 3.0) << "divided in more than single precision";
    EXPECT_DOUBLE_EQ(math.calcPosFloat(1500, 1000, 2000), 0.5);
}

TEST(Math, RandomFloatsStayBelowTheirMaximum)
{
    // With this seed the C library's first draw is 2147483636, whose share of 2^31 rounds
    // to 1 in single precision.
    const unsigned int highDraw = 22100322;
    srand(highDraw);
    ASSERT_GE(rand(), 2147483584) << "the seed no longer gives one of the top draws";
    srand(highDraw);
    EXPECT_LT(math.randFloat(1.0f), 1.0f);
    srand(highDraw);
    EXPECT_LT(math.randFloat(3.0f), 3.0f);
    srand(highDraw);
    EXPECT_GT(math.randFloat(3.0f), 2.99f);

    srand(1);
    float lowest = 1, highest = 0;
    for (int i = 0; i < 100000; i++) {
        float value = math.randFloat(1.0f);
        ASSERT_GE(value, 0.0f);
        ASSERT_LT(value, 1.0f);
        lowest = std::min(lowest, value);
        highest = std::max(highest, value);
    }
    EXPECT_LT(lowest, 0.001f);
    EXPECT_GT(highest, 0.999f);
}

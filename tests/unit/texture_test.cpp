// Textures and the loading screen in process, on the real GL context: what a texture holds
// after upload, binding by file name to units 0 to 8, the memory figure, clearing and reload,
// the fatal messages, and the progress bar as it appears on screen.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <GL/glew.h>
#include <SDL/SDL.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <tuple>

#include "framework/config.h"
#include "framework/imagepng.h"
#include "framework/loader.h"
#include "framework/texture.h"
#include "framework/texturemanager.h"
#include "framework/window.h"
#include "tests/support/fixture.h"
#include "tests/support/inprocess.h"
#include "tests/unit/toolkit.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Eq;
using testing::ExitedWithCode;
using toolkit::integer;

// What GL holds in a texture, RGBA, bottom row first.
std::vector<uint8_t> pixelsOf(unsigned int id, int width, int height)
{
    std::vector<uint8_t> pixels(width * height * 4);
    glBindTexture(GL_TEXTURE_2D, id);
    glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    return pixels;
}

// The fixture's textures are 16 x 16 and of one colour each.
std::vector<uint8_t> solid(fixture::Rgba colour)
{
    std::vector<uint8_t> pixels;
    for (int i = 0; i < 16 * 16; i++) pixels.insert(pixels.end(), {colour.r, colour.g, colour.b, colour.a});
    return pixels;
}

int count(const std::vector<std::string>& lines, const std::string& prefix)
{
    return static_cast<int>(std::count_if(lines.begin(), lines.end(),
                                          [&](const std::string& line) { return line.rfind(prefix, 0) == 0; }));
}

std::map<std::string, unsigned int> glNames()
{
    std::map<std::string, unsigned int> names;
    for (const auto& [name, texture] : texturemanager.textures) names[name] = texture->id;
    return names;
}

// The loader draws and waits 10 ms per step; a negative total makes it skip drawing, so a
// test can reload many times quickly.
void silenceLoader()
{
    loader.clear();
    loader.addSteps(-100000);
}

// For tests that change what the manager holds: the fixture's pictures are back afterwards.
class TexturemanagerReload : public testing::Test {
protected:
    void TearDown() override
    {
        silenceLoader();
        texturemanager.clearImages();
        texturemanager.loadImages();
    }
};

TEST(Texture, UploadHoldsThePixelsAndBindSelectsTheUnit)
{
    fixture::Directory scratch;
    fixture::writeRgbaPng(scratch.file("four.png"), 4, 2, [](int x, int y) {
        return fixture::Rgba{static_cast<uint8_t>(x * 60), static_cast<uint8_t>(y * 200), 7, 255};
    });
    Image* image = ImagePNG().load(scratch.file("four.png"));
    ASSERT_NE(image, nullptr);

    Texture texture;
    EXPECT_EQ(texture.id, 0xFFFFFFFFu);
    EXPECT_FALSE(texture.hasBeenUsed());
    texture.upload(*image);
    EXPECT_TRUE(glIsTexture(texture.id));
    EXPECT_EQ(pixelsOf(texture.id, 4, 2), std::vector<uint8_t>(image->data, image->data + 4 * 2 * 4));
    GLint minFilter = 0, magFilter = 0;
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, &minFilter);
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, &magFilter);
    EXPECT_EQ(minFilter, GL_LINEAR);
    EXPECT_EQ(magFilter, GL_LINEAR);
    EXPECT_FALSE(texture.hasBeenUsed()) << "uploading is not using";

    texture.bind(GL_TEXTURE3);
    EXPECT_EQ(integer(GL_ACTIVE_TEXTURE), GL_TEXTURE3);
    EXPECT_TRUE(glIsEnabled(GL_TEXTURE_2D));
    EXPECT_EQ(integer(GL_TEXTURE_BINDING_2D), static_cast<int>(texture.id));
    EXPECT_TRUE(texture.hasBeenUsed());
    image->releaseData();
    delete image;
}

TEST(Texturemanager, BindsEachPictureByItsFileNameOnUnitsZeroToEight)
{
    ASSERT_EQ(texturemanager.textures.size(), 23u);
    EXPECT_EQ(pixelsOf(texturemanager.getID("credits.png"), 16, 16), solid({255, 255, 255, 255}));
    EXPECT_EQ(pixelsOf(texturemanager.getID("logo_vek.png"), 16, 16), solid({255, 0, 0, 255}));
    EXPECT_EQ(pixelsOf(texturemanager.getID("bg.png"), 16, 16), solid({60, 30, 0, 255}));

    for (int unit = 0; unit <= 8; unit++) {
        texturemanager.bindTexture("logo_ka.png", GL_TEXTURE0 + unit);
        EXPECT_EQ(integer(GL_ACTIVE_TEXTURE), GL_TEXTURE0 + unit);
        EXPECT_EQ(integer(GL_TEXTURE_BINDING_2D), static_cast<int>(texturemanager.getID("logo_ka.png")));
    }
    EXPECT_TRUE(texturemanager.textures["logo_ka.png"]->hasBeenUsed());
    EXPECT_FALSE(texturemanager.textures["greets.png"]->hasBeenUsed());

    // The one-argument form leaves the unit as it is.
    glActiveTexture(GL_TEXTURE2);
    texturemanager.bindTexture("credits.png");
    EXPECT_EQ(integer(GL_ACTIVE_TEXTURE), GL_TEXTURE2);
    EXPECT_EQ(integer(GL_TEXTURE_BINDING_2D), static_cast<int>(texturemanager.getID("credits.png")));

    texturemanager.unbind();
    EXPECT_EQ(integer(GL_TEXTURE_BINDING_2D), 0);
    EXPECT_TRUE(glIsEnabled(GL_TEXTURE_2D)) << "unbinding leaves texturing on";
}

TEST(Texturemanager, UploadsInNameOrder)
{
    std::map<std::string, unsigned int> names = glNames();
    unsigned int previous = 0;
    for (const auto& [name, id] : names) {
        EXPECT_GT(id, previous) << name;
        previous = id;
    }
}

TEST(Texturemanager, ClearingTextureUnitsTurnsTexturingOffOnUnitsSevenToZero)
{
    fixture::LogCapture log;
    for (int unit = 0; unit < 8; unit++) texturemanager.bindTexture("credits.png", GL_TEXTURE0 + unit);
    texturemanager.clearTextureUnits();
    for (int unit = 0; unit < 8; unit++) {
        glActiveTexture(GL_TEXTURE0 + unit);
        EXPECT_FALSE(glIsEnabled(GL_TEXTURE_2D)) << unit;
    }
    glActiveTexture(GL_TEXTURE5);
    texturemanager.clearTextureUnits();
    EXPECT_EQ(integer(GL_ACTIVE_TEXTURE), GL_TEXTURE0);
    EXPECT_THAT(log.lines(), ElementsAre("Texture manager: Clearing textures units...",
                                         "Texture manager: Clearing textures units..."));
}

// Image with a pixel block of its own, as the decoder makes them.
Image* blankImage(unsigned int width, unsigned int height, int components, int format)
{
    Image* image = new Image();
    image->components = components;
    image->format = format;
    image->width = width;
    image->height = height;
    image->data = new unsigned char[width * height * 4]();
    return image;
}

TEST_F(TexturemanagerReload, UploadCountsFourBytesPerPixelAndFreesThePixels)
{
    texturemanager.clearImages();
    silenceLoader();
    fixture::LogCapture log;
    texturemanager.uploadImages();
    EXPECT_THAT(log.lines(), ElementsAre("Texture manager: Uploading textures to OpenGL...",
                                         "Texture manager: Uploaded 0 textures.",
                                         "Texture manager: Video memory usage: 0kB"));

    // Three components take four bytes a pixel all the same.
    Image* image = blankImage(256, 256, 3, GL_RGB);
    texturemanager.addImage("big.png", image);
    log.reset();
    texturemanager.uploadImages();
    std::vector<std::string> lines = log.lines();
    EXPECT_THAT(lines, Contains("Texture manager: Uploaded 1 textures."));
    EXPECT_THAT(lines, Contains("Texture manager: Video memory usage: 262kB"));
    EXPECT_EQ(image->data, nullptr);
    EXPECT_EQ(image->width, 256u) << "the image keeps its size after upload";
    EXPECT_TRUE(glIsTexture(texturemanager.getID("big.png")));
}

TEST_F(TexturemanagerReload, ReloadingDecodesAndUploadsEveryFileAgainWithItsLoaderSteps)
{
    std::map<std::string, unsigned int> before = glNames();
    loader.clear();
    fixture::LogCapture log;
    texturemanager.clearImages();
    EXPECT_TRUE(texturemanager.textures.empty());
    EXPECT_TRUE(texturemanager.images.empty());
    texturemanager.loadImages();

    std::vector<std::string> lines = log.lines();
    ASSERT_GE(lines.size(), 8u);
    EXPECT_EQ(lines[0], "Texture manager: Clearing images...");
    EXPECT_EQ(lines[1], "Loader: Adding 46 steps...");
    // One decoding step, exactly so, for the first file listed.
    std::string first = lines[2].substr(std::string("Texture manager: Adding image ").size());
    EXPECT_THAT(std::vector<std::string>(lines.begin() + 2, lines.begin() + 7),
                ElementsAre("Texture manager: Adding image " + first, "Image: Loading data/textures/" + first,
                            "Image: data/textures/" + first + " info: width=16, height=16, color=6408, components=4",
                            "Loader: Advancing 1 steps...", "Loading: Percentage: 0.0217391"));
    EXPECT_EQ(count(lines, "Texture manager: Adding image "), 23);
    EXPECT_EQ(count(lines, "Loader: Advancing 1 steps..."), 46);
    EXPECT_EQ(count(lines, "Loading: Percentage: "), 46);
    EXPECT_THAT(std::vector<std::string>(lines.end() - 4, lines.end()),
                ElementsAre("Loader: Advancing 1 steps...", "Loading: Percentage: 1",
                            "Texture manager: Uploaded 23 textures.", "Texture manager: Video memory usage: 23kB"));

    // The same GL names hold the same pictures again.
    EXPECT_EQ(glNames(), before);
    EXPECT_EQ(pixelsOf(texturemanager.getID("logo_vek.png"), 16, 16), solid({255, 0, 0, 255}));
}

TEST(Texturemanager, FiftyReloadsUseNoNewGlNames)
{
    std::map<std::string, unsigned int> before = glNames();
    GLuint probe = 0;
    glGenTextures(1, &probe);
    for (int i = 0; i < 50; i++) {
        silenceLoader();
        texturemanager.clearImages();
        texturemanager.loadImages();
    }
    EXPECT_EQ(glNames(), before);
    GLuint next = 0;
    glGenTextures(1, &next);
    EXPECT_EQ(next, probe + 1) << "a reload allocated texture names";
    EXPECT_EQ(pixelsOf(texturemanager.getID("credits.png"), 16, 16), solid({255, 255, 255, 255}));
}

// A picture in a sub-directory is listed by its bare name and opened at the top level.
TEST_F(TexturemanagerReload, PictureInASubDirectoryIsReadFromTheTopLevel)
{
    fixture::Directory directory;
    directory.remove("data/textures");
    std::filesystem::create_directories(directory.file("data/textures/sub"));
    fixture::writeSolidPng(directory.file("data/textures/b.png"), 16, 16, {255, 0, 0, 255});
    fixture::writeSolidPng(directory.file("data/textures/sub/b.png"), 16, 16, {0, 255, 0, 255});
    fixture::WorkingDirectory inside(directory.path());

    silenceLoader();
    fixture::LogCapture log;
    texturemanager.clearImages();
    texturemanager.loadImages();
    std::vector<std::string> lines = log.lines();
    EXPECT_EQ(count(lines, "Image: Loading data/textures/b.png"), 2);
    EXPECT_THAT(lines, Contains("Texture manager: Uploaded 1 textures."));
    EXPECT_EQ(pixelsOf(texturemanager.getID("b.png"), 16, 16), solid({255, 0, 0, 255}));

    directory.remove("data/textures/b.png");
    texturemanager.clearImages();
    EXPECT_EXIT(texturemanager.loadImages(), ExitedWithCode(1),
                Eq("Image: Error! data/textures/b.png does not exist!\n"));
}

TEST(TexturemanagerDeathTest, BadUnitOrUnknownNameEndsTheProgramNamingIt)
{
    const std::string badUnit = "Texture manager: Error! Trying to bind texture ";
    const std::string unknown = "Texture manager: Trying to bind texture absent.png that does not exist!\n";
    const std::pair<std::function<void()>, std::string> cases[] = {
        {[] { texturemanager.bindTexture("credits.png", GL_TEXTURE0 + 9); },
         badUnit + "credits.png to an invalid texture unit << 9!\n"},
        {[] { texturemanager.bindTexture("credits.png", GL_TEXTURE0 - 1); },
         badUnit + "credits.png to an invalid texture unit << -1!\n"},
        // The unit is checked before the name.
        {[] { texturemanager.bindTexture("absent.png", 0); },
         badUnit + "absent.png to an invalid texture unit << -33984!\n"},
        {[] { texturemanager.bindTexture("absent.png", GL_TEXTURE0); }, unknown},
        {[] { texturemanager.bindTexture("absent.png"); }, unknown},
        {[] { texturemanager.getID("credits"); }, "trying to get an texture ID credits that does not exist!\n"},
        {[] {
             texturemanager.clearImages();
             texturemanager.bindTexture("credits.png", GL_TEXTURE0);
         },
         "Texture manager: Trying to bind texture credits.png that does not exist!\n"},
    };
    for (const auto& [call, message] : cases) EXPECT_EXIT(call(), ExitedWithCode(1), Eq(message));
}

// The bar as it is on screen: colour at window pixel (x, y), y counted from the bottom, as
// the 800 x 600 drawing space of the loader maps onto the 800 x 600 window.
class LoadingScreen : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(window.screen->w, 800);
        ASSERT_EQ(window.screen->h, 600);
        loader.clear();
        window.setTitle("Before");
        log.reset();
    }

    void TearDown() override { Config::debug = false; }

    fixture::Rgba at(int x, int y)
    {
        uint8_t rgba[4] = {0, 0, 0, 0};
        glReadBuffer(GL_FRONT);
        glReadPixels(x, y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, rgba);
        return {rgba[0], rgba[1], rgba[2], rgba[3]};
    }

    std::string title()
    {
        char* caption = nullptr;
        char* icon = nullptr;
        SDL_WM_GetCaption(&caption, &icon);
        return caption ? caption : "";
    }

    fixture::LogCapture log;
};

MATCHER_P3(Colour, r, g, b, "")
{
    *result_listener << "(" << int(arg.r) << ", " << int(arg.g) << ", " << int(arg.b) << ")";
    return std::abs(arg.r - r) <= 8 && std::abs(arg.g - g) <= 8 && std::abs(arg.b - b) <= 8;
}

TEST_F(LoadingScreen, NothingHappensBeforeAnyStepIsAnnounced)
{
    Config::debug = true;
    log.reset();
    loader.draw("images");
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(title(), "Before");
}

TEST_F(LoadingScreen, QuarterDoneShowsABarFromMagentaToWhiteInsideItsFrame)
{
    loader.addSteps(4);
    loader.advance(1);
    glEnable(GL_DEPTH_TEST);
    int modelview = integer(GL_MODELVIEW_STACK_DEPTH), projection = integer(GL_PROJECTION_STACK_DEPTH);
    loader.draw("images");

    EXPECT_THAT(log.lines(), ElementsAre("Loader: Adding 4 steps...", "Loader: Advancing 1 steps...",
                                         "Loading: Percentage: 0.25"));
    EXPECT_FLOAT_EQ(loader.percentage, 0.25f);
    EXPECT_EQ(title(), "Before") << "the title changes only in debug mode";
    EXPECT_FALSE(glIsEnabled(GL_DEPTH_TEST));
    EXPECT_EQ(integer(GL_MODELVIEW_STACK_DEPTH), modelview);
    EXPECT_EQ(integer(GL_PROJECTION_STACK_DEPTH), projection);

    // The bar runs from x = 100 to 250, magenta at its left end, white at its moving end; a
    // white frame two pixels wide, five units around the bar's full length; black elsewhere.
    const std::tuple<int, int, int, int, int> expected[] = {
        {101, 300, 255, 0, 255}, {175, 300, 255, 128, 255}, {248, 300, 255, 250, 255}, {253, 300, 0, 0, 0},
        {600, 300, 0, 0, 0},     {400, 285, 255, 255, 255}, {400, 315, 255, 255, 255}, {95, 300, 255, 255, 255},
        {705, 300, 255, 255, 255}, {97, 300, 0, 0, 0},      {400, 288, 0, 0, 0},       {50, 50, 0, 0, 0},
        {750, 550, 0, 0, 0}};
    for (auto [x, y, r, g, b] : expected) EXPECT_THAT(at(x, y), Colour(r, g, b)) << x << "," << y;
}

TEST_F(LoadingScreen, MoreStepsThanAnnouncedDrawPastTheFrame)
{
    loader.addSteps(2);
    loader.advance(3);
    loader.draw("images");
    EXPECT_THAT(log.lines(), Contains("Loading: Percentage: 1.5"));
    // The bar ends at x = 1000, so at 750 it is 650/900 of the way to white.
    EXPECT_THAT(at(750, 300), Colour(255, 184, 255));
}

TEST_F(LoadingScreen, DebugModeNamesTheWorkInTheTitle)
{
    Config::debug = true;
    loader.addSteps(3);
    loader.advance(1);
    loader.draw("shaders");
    EXPECT_EQ(title(), "Loading shaders...");
    EXPECT_THAT(log.lines(), Contains("Loading: Percentage: 0.333333"));
}

}  // namespace

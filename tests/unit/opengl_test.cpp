// The GL context and the window in process, on the program's own context: the attributes
// asked of SDL for each colour depth, smoothing and blending, vsync, multisampling, the
// screenshot file, and a resize that must leave textures and shaders working.
#include <GL/glew.h>
#include <SDL/SDL.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <sstream>
#include <utility>

#include "framework/camera.h"
#include "framework/config.h"
#include "framework/logger.h"
#include "framework/music.h"
#include "framework/opengl.h"
#include "framework/shader.h"
#include "framework/shadermanager.h"
#include "framework/texturemanager.h"
#include "framework/window.h"
#include "tests/support/inprocess.h"
#include "tests/support/program.h"

using testing::HasSubstr;
using testing::Not;

namespace {

using Attribute = std::pair<int, int>;
using Attributes = std::vector<Attribute>;

// What the engine asked of SDL_GL_SetAttribute, while recording.
bool recording = false;
Attributes asked;
// A scripted answer for the swap-control attribute, or none to let SDL answer.
bool scriptedSwap = false;
int swapAnswer = 0;

}  // namespace

// The engine's calls land here first (the program links the library dynamically), are noted,
// and go on to SDL unchanged; only a scripted swap-control answer is made up.
extern "C" int SDL_GL_SetAttribute(SDL_GLattr attribute, int value)
{
    using Real = int (*)(SDL_GLattr, int);
    static Real real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "SDL_GL_SetAttribute"));
    if (recording) asked.push_back({attribute, value});
    if (scriptedSwap && attribute == SDL_GL_SWAP_CONTROL) {
        if (swapAnswer == -1) SDL_SetError("swap control refused");
        return swapAnswer;
    }
    return real(attribute, value);
}

namespace {

class Context : public testing::Test {
protected:
    void SetUp() override
    {
        asked.clear();
        recording = true;
    }
    void TearDown() override
    {
        recording = false;
        scriptedSwap = false;
    }

    fixture::LogCapture capture;
};

// A full-window quad in the unit square, in the current colour and texture state.
void fullWindowQuad()
{
    camera.enable2D();
    glBegin(GL_QUADS);
    glTexCoord2f(0, 0);
    glVertex2f(0, 0);
    glTexCoord2f(1, 0);
    glVertex2f(1, 0);
    glTexCoord2f(1, 1);
    glVertex2f(1, 1);
    glTexCoord2f(0, 1);
    glVertex2f(0, 1);
    glEnd();
    camera.disable2D();
}

fixture::Rgba pixelAt(int x, int y)
{
    unsigned char rgba[4] = {0, 0, 0, 0};
    glReadPixels(x, y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, rgba);
    return {rgba[0], rgba[1], rgba[2], rgba[3]};
}

std::string text(fixture::Rgba c)
{
    std::ostringstream out;
    out << int(c.r) << "," << int(c.g) << "," << int(c.b);
    return out.str();
}

void clearTo(float r, float g, float b)
{
    glDisable(GL_SCISSOR_TEST);
    glClearColor(r, g, b, 1);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
}

TEST_F(Context, ColourAndDepthSizesFollowTheConfiguredDepth)
{
    struct Case {
        int bpp, red, green, blue, depth, bppAfter;
    };
    const Case cases[] = {{0, 8, 8, 8, 0, 0},    {8, 3, 3, 2, 8, 8},    {15, 5, 5, 5, 15, 15}, {16, 5, 5, 5, 16, 16},
                          {24, 8, 8, 8, 24, 24}, {32, 8, 8, 8, 24, 32}, {12, 8, 8, 8, 0, 0}};
    const std::string invalid = "Invalid BPP, must be 8, 15, 16, 24 or 32. Trying current bpp.";
    for (const Case& c : cases) {
        SCOPED_TRACE("BPP " + std::to_string(c.bpp));
        Config::bpp = c.bpp;
        capture.reset();
        asked.clear();
        opengl.init();

        std::ostringstream sizes;
        sizes << "OpenGL: RGB size: " << c.red << ", " << c.green << ", " << c.blue << "\n";
        std::string written = capture.text();
        EXPECT_THAT(written, HasSubstr(sizes.str()));
        EXPECT_EQ(Config::bpp, c.bppAfter);
        EXPECT_EQ(written.find(invalid) != std::string::npos, c.bpp == 12);
        if (c.bpp == 12) {
            EXPECT_LT(written.find(invalid), written.find("OpenGL: RGB size: "));
        }

        Attributes wanted = {{SDL_GL_RED_SIZE, c.red},       {SDL_GL_GREEN_SIZE, c.green},
                             {SDL_GL_BLUE_SIZE, c.blue},     {SDL_GL_ALPHA_SIZE, 8},
                             {SDL_GL_DOUBLEBUFFER, 1},       {SDL_GL_DEPTH_SIZE, c.depth},
                             {SDL_GL_STENCIL_SIZE, 0},       {SDL_GL_ACCUM_RED_SIZE, 0},
                             {SDL_GL_ACCUM_GREEN_SIZE, 0},   {SDL_GL_ACCUM_BLUE_SIZE, 0},
                             {SDL_GL_ACCUM_ALPHA_SIZE, 0}};
        EXPECT_EQ(asked, wanted) << "the fixture has no FSAA and no vsync, so nothing follows";
    }
}

TEST_F(Context, MultisamplingAndVsyncAskOnlyWhenConfigured)
{
    Config::fsaa = 4;
    Config::vsync = true;
    opengl.init();
    std::string written = capture.text();
    EXPECT_THAT(written, HasSubstr("OpenGL: Enabling 4x FSAA...\n"));
    EXPECT_TRUE(glIsEnabled(GL_MULTISAMPLE));
    Attributes tail(asked.end() - 3, asked.end());
    EXPECT_EQ(tail, (Attributes{{SDL_GL_MULTISAMPLEBUFFERS, 1},
                                {SDL_GL_MULTISAMPLESAMPLES, 4},
                                {SDL_GL_SWAP_CONTROL, 1}}));
    EXPECT_THAT(written, HasSubstr("OpenGL: Vsync"));

    scriptedSwap = true;
    for (auto [answer, line] : {std::pair<int, const char*>{0, "OpenGL: Vsync enabled...\n"},
                                {-1, "OpenGL: Vsync Error! swap control refused\n"},
                                {7, "OpenGL: Vsync Error! Unknown return value: 7\n"}}) {
        capture.reset();
        swapAnswer = answer;
        opengl.vsync(true);
        EXPECT_THAT(capture.text(), testing::EndsWith(line));
    }

    capture.reset();
    asked.clear();
    opengl.vsync(false);
    EXPECT_TRUE(asked.empty()) << "swap control is never switched off";
    EXPECT_EQ(capture.text(), "");
}

TEST_F(Context, SmoothingOffDrawsHalfTransparentQuadsOpaque)
{
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_TEXTURE_2D);
    for (bool on : {false, true}) {
        opengl.antialiasing(on);
        EXPECT_EQ(opengl.antialias, on);
        for (GLenum state : {GL_BLEND, GL_LINE_SMOOTH, GL_POINT_SMOOTH, GL_POLYGON_SMOOTH})
            EXPECT_EQ(glIsEnabled(state) == GL_TRUE, on) << state;
        clearTo(0, 0, 0);
        glColor4f(1, 0, 0, 0.5f);
        fullWindowQuad();
        EXPECT_NEAR(pixelAt(400, 300).r, on ? 128 : 255, 2) << (on ? "blended over black" : "opaque");
    }
    EXPECT_EQ(capture.lines(),
              (std::vector<std::string>{"OpenGL: turning off antialiasing...", "OpenGL: turning on antialiasing..."}));
}

TEST_F(Context, ResizeResetsTheProjectionAndTheViewport)
{
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(0, 5, 0, 5, -1, 1);
    glMatrixMode(GL_MODELVIEW);
    opengl.resize(640, 480);

    GLfloat projection[16];
    glGetFloatv(GL_PROJECTION_MATRIX, projection);
    for (int i = 0; i < 16; i++) EXPECT_EQ(projection[i], i % 5 == 0 ? 1.0f : 0.0f) << i;
    GLint mode = 0;
    glGetIntegerv(GL_MATRIX_MODE, &mode);
    EXPECT_EQ(mode, GL_PROJECTION);
    GLint viewport[4];
    glGetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_EQ(std::vector<GLint>(viewport, viewport + 4), (std::vector<GLint>{0, 0, 640, 480}));
    EXPECT_THAT(capture.text(), HasSubstr("OpenGL: resize: 640x480\n"));
}

// Paints the top half of a width x height frame red and the bottom half blue, then shoots.
program::Bitmap shoot(const fixture::Directory& scratch, int position, int width, int height)
{
    Config::width = width;
    Config::height = height;
    music.setPosition(position);
    clearTo(0, 0, 1);
    glEnable(GL_SCISSOR_TEST);
    glScissor(0, height / 2, width, height - height / 2);
    glClearColor(1, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    glDisable(GL_SCISSOR_TEST);
    opengl.screenshot();
    return program::readBmp(scratch.file(std::to_string(position) + ".bmp"));
}

TEST_F(Context, ScreenshotIsNamedByTheMusicPositionTopRowFirstAtTheConfiguredSize)
{
    fixture::Directory scratch;
    fixture::WorkingDirectory inScratch(scratch.path());
    music.start();
    music.setPause(true);

    // 333 pixels make rows of 999 bytes, which GL pads and the file must not.
    for (auto [position, width, height] : {std::tuple{83012, 333, 222}, std::tuple{0, 800, 600}}) {
        SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
        program::Bitmap shot = shoot(scratch, position, width, height);
        ASSERT_EQ(shot.width, width);
        ASSERT_EQ(shot.height, height);
        int wrong = 0;
        for (int y = 0; y < height; y++)
            for (int x = 0; x < width; x++) wrong += text(shot.at(x, y)) != (y < height / 2 ? "255,0,0" : "0,0,255");
        EXPECT_EQ(wrong, 0) << "top " << text(shot.at(0, 0)) << ", bottom " << text(shot.at(0, height - 1));
        EXPECT_THAT(capture.text(), HasSubstr("OpenGL: Saving screenshot: " + std::to_string(position) + ".bmp\n"));
    }
    GLint alignment = 0;
    glGetIntegerv(GL_PACK_ALIGNMENT, &alignment);
    EXPECT_EQ(alignment, 4) << "the screenshot leaves GL's pixel store alone";
}

TEST(Window, StartsWindowedResizableCentredWithTheCursorHiddenAndTheTitleSet)
{
    const Uint32 windowed = 0x6000000A | SDL_RESIZABLE;
    const Uint32 optional = SDL_HWSURFACE | SDL_HWACCEL;
    EXPECT_EQ(window.flags & ~optional, windowed);
    EXPECT_EQ(window.screen->w, 800);
    EXPECT_EQ(window.screen->h, 600);
    ASSERT_NE(getenv("SDL_VIDEO_CENTERED"), nullptr);
    EXPECT_STREQ(getenv("SDL_VIDEO_CENTERED"), "center");
    EXPECT_EQ(SDL_ShowCursor(SDL_QUERY), 0);
    char* title = nullptr;
    char* icon = nullptr;
    SDL_WM_GetCaption(&title, &icon);
    ASSERT_NE(title, nullptr);
    EXPECT_EQ(std::string(title), Config::title);
    EXPECT_EQ(std::string(icon), Config::title);
    EXPECT_FALSE(Config::title.empty());
    EXPECT_STRNE(window.driverName, "");
}

TEST_F(Context, FullscreenToggleFlipsTheFlagWhetherOrNotTheDriverObligesAndTheCursorShowsAndHides)
{
    Config::fullscreen = false;
    window.toggleFullscreen();
    EXPECT_TRUE(Config::fullscreen);
    window.toggleFullscreen();
    EXPECT_FALSE(Config::fullscreen);

    // Each attempt is one line, followed by an error line where the driver refuses.
    std::vector<std::string> lines;
    for (const std::string& line : capture.lines())
        lines.push_back(line.rfind("Window: SDL Error: ", 0) == 0 ? "Window: SDL Error: " : line);
    std::vector<std::string> toggles;
    for (const std::string& line : lines)
        if (line != "Window: SDL Error: ") toggles.push_back(line);
    EXPECT_EQ(toggles, (std::vector<std::string>{"Window: Toogling fullscreen...", "Window: Toogling windowed..."}));
    EXPECT_LE(lines.size(), 4u);
    if (lines.size() > 2) std::cout << "[ note ] the driver refused: " << capture.text();

    capture.reset();
    window.toggleCursor(true);
    EXPECT_EQ(SDL_ShowCursor(SDL_QUERY), 1);
    window.toggleCursor(false);
    EXPECT_EQ(SDL_ShowCursor(SDL_QUERY), 0);
    EXPECT_EQ(capture.lines(), (std::vector<std::string>{"Window: Showing cursor", "Window: Hiding cursor"}));
}

// Draws the whole window with a texture, optionally through the fixture's shader, and reads
// back the middle.
std::string drawnWith(const std::string& texture, bool shaded)
{
    glDisable(GL_DEPTH_TEST);
    clearTo(0, 0, 0);
    glColor4f(1, 1, 1, 1);
    texturemanager.bindTexture(texture);
    Shader* shader = shadermanager.getShader("plain");
    if (shaded) shader->bind();
    fullWindowQuad();
    if (shaded) shader->unbind();
    texturemanager.unbind();
    GLint viewport[4];
    glGetIntegerv(GL_VIEWPORT, viewport);
    return text(pixelAt(viewport[2] / 2, viewport[3] / 2));
}

TEST_F(Context, ResizeKeepsEveryTextureAndShaderWorking)
{
    ASSERT_NE(shadermanager.getShader("plain"), nullptr);
    ASSERT_EQ(drawnWith("logo_vek.png", false), "255,0,0");
    ASSERT_EQ(drawnWith("logo_ka.png", true), "0,255,0");

    for (auto [width, height] : {std::pair{640, 480}, std::pair{1024, 700}}) {
        SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
        window.resize(width, height);
        opengl.resize(width, height);
        EXPECT_EQ(window.screen->w, width);
        EXPECT_EQ(window.screen->h, height);
        EXPECT_EQ(Config::width, 800) << "the configured size stays";

        EXPECT_EQ(drawnWith("logo_vek.png", false), "255,0,0");
        EXPECT_EQ(drawnWith("logo_ka.png", false), "0,255,0");
        EXPECT_EQ(drawnWith("title_brun.png", true), "0,0,255");
        EXPECT_EQ(drawnWith("logo_vek.png", true), "255,0,0");
        EXPECT_TRUE(glIsTexture(texturemanager.getID("title_brun.png")));
        EXPECT_TRUE(glIsProgram(shadermanager.getShader("plain")->program));
        // The corner of the new size is drawn too: the frame buffer grew or shrank with the window.
        EXPECT_EQ(text(pixelAt(width - 1, height - 1)), "255,0,0");
    }
    EXPECT_THAT(capture.text(), HasSubstr("Window: Resize: 640x480\n"));
}

}  // namespace

// The engine's own arithmetic, in process where the outside view is clumsy: what a frame draws,
// the viewport, the clock's figures, the game pad and PNGs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "framework/audio.h"
#include "framework/camera.h"
#include "framework/config.h"
#include "framework/demo.h"
#include "framework/events.h"
#include "framework/imagepng.h"
#include "framework/joystick.h"
#include "framework/music.h"
#include "framework/timeline.h"
#include "framework/timer.h"
#include "tests/support/drawing.h"
#include "tests/support/idlescene.h"
#include "tests/support/program.h"

namespace {

class CountedScene : public IdleScene {
public:
    void draw() override { drawn++; }
    int drawn = 0;
};

TEST(Director, DrawsEachEntryFromItsStartUntilJustBeforeItsEnd)
{
    CountedScene* early = new CountedScene();
    CountedScene* late = new CountedScene();
    demo.addScene("early", early);
    demo.addScene("late", late);
    demo.addSceneToTimeline("early", 1000, 2000);
    demo.addSceneToTimeline("late", 2000, 3000);
    demo.addSceneToTimeline("early", 2500, 2500);  // empty: never drawn
    const std::tuple<int, int, int> frames[] = {{999, 0, 0},  {1000, 1, 0}, {1999, 1, 0},
                                                {2000, 0, 1}, {2500, 0, 1}, {3000, 0, 0}};
    for (const auto& [ms, earlyDrawn, lateDrawn] : frames) {
        early->drawn = late->drawn = 0;
        drawing::at(ms);
        demo.draw();
        EXPECT_EQ(std::pair(early->drawn, late->drawn), std::pair(earlyDrawn, lateDrawn)) << "at " << ms;
    }
    timeLine.entries.clear();
}

TEST(Viewport, LetterboxesTheWindowToTheConfiguredAspectRatio)
{
    std::string configured = Config::aspectratio;
    const std::tuple<const char*, int, int, std::array<int, 4>> cases[] = {
        {"16:9", 800, 600, {0, 75, 800, 450}},  {"16:10", 800, 600, {0, 50, 800, 500}},
        {"4:3", 800, 600, {0, 0, 800, 600}},    {"16:9", 1280, 1024, {0, 152, 1280, 720}},
        {"16:9", 333, 600, {0, 206, 333, 187}}, {"16:9", 1000, 300, {0, -131, 1000, 562}}};
    for (const auto& [ratio, width, height, viewport] : cases) {
        Config::aspectratio = ratio;
        camera.resetViewport(width, height);
        std::array<int, 4> set;
        glGetIntegerv(GL_VIEWPORT, set.data());
        EXPECT_EQ(set, viewport) << ratio << " in " << width << "x" << height;
    }
    Config::aspectratio = configured;
    camera.resetViewport(800, 600);
}

TEST(Viewport, ZoomKeysScaleTheFlatViewingVolumeByThreeQuartersAndByFourThirds)
{
    // Where the volume's top right corner lands: the point that maps to (1, 1) on screen
    auto corner = [] {
        float m[16];
        glGetFloatv(GL_PROJECTION_MATRIX, m);
        return std::pair{(1 - m[12]) / m[0], (1 - m[13]) / m[5]};
    };
    camera.zoomIn();
    EXPECT_NEAR(corner().first, 800.0f / 600 * 0.75f, 1e-4);
    EXPECT_NEAR(corner().second, 0.75f, 1e-4);
    camera.zoomOut();
    EXPECT_NEAR(corner().second, 0.75f * 1.33f, 1e-4) << "the factors are not each other's inverse";
    camera.resetViewport(800, 600);
}

TEST(Clock, StatusTimeTruncatesToMinutesSecondsAndHundredths)
{
    const std::pair<int, std::array<double, 3>> times[] = {
        {0, {0, 0, 0}}, {1009, {0, 1, 0}}, {59999, {0, 59, 99}}, {61010, {1, 1, 1}}, {149990, {2, 29, 99}}};
    for (const auto& [ms, split] : times) {
        drawing::at(ms);
        EXPECT_EQ((std::array{timer.getPositionMinute(), timer.getPositionSecond(), timer.getPositionMS()}), split) << ms;
    }
}

// The fixture's sine is on a bin centre: any window length shows its amplitude there, near nothing elsewhere.
TEST(Music, SpectrumOfAPlayingSineIsItsAmplitudeInItsBin)
{
    music.follow();
    music.start();
    ASSERT_TRUE(program::waitFor(10, [] {
        audio.update();
        return music.getPosition() > 500;
    }));
    for (int count : {256, 1024}) {
        std::vector<float> spectrum(count);
        music.getSpectrum(spectrum.data(), count);
        long bin = std::lround(fixture::TONE_HZ * 2 * count / 22050);
        EXPECT_EQ(std::max_element(spectrum.begin(), spectrum.end()) - spectrum.begin(), bin) << count;
        EXPECT_NEAR(spectrum[bin], fixture::TONE_AMPLITUDE, 0.005) << count;
        spectrum[bin] = 0;
        EXPECT_LT(*std::max_element(spectrum.begin(), spectrum.end()), 0.005) << count;
    }
    music.stop();
}

TEST(Clock, SeekBeforeTheStartLandsOnZeroAndOnePastTheEndIsIgnored)
{
    music.follow();
    if (!music.playing) music.start();
    music.setPause(true);
    music.setPosition(3000);
    ASSERT_EQ(music.getPosition(), 3000) << "a paused seek reads back exactly";
    music.changePosition(-5000);
    EXPECT_EQ(music.getPosition(), 0);
    music.changePosition(music.getLength());
    EXPECT_EQ(music.getPosition(), 0) << "a seek to the end is ignored";
}

fixture::PngPicture png(int type, int depth, std::vector<std::vector<uint8_t>> rows, std::vector<uint8_t> palette = {},
                     std::vector<uint8_t> trns = {}, bool interlaced = false)
{
    return {2, 2, type, depth, interlaced, palette, trns, rows};
}

TEST(Png, EveryColourTypeAndDepthDecodesToEightBitSamplesBottomRowFirst)
{
    const std::vector<uint8_t> palette = {255, 0, 0, 0, 255, 0, 0, 0, 255, 9, 8, 7};
    const std::tuple<const char*, fixture::PngPicture, int, std::vector<int>, std::vector<int>> cases[] = {
        {"grey 1-bit", png(0, 1, {{0x80}, {0x40}}), 1, {255, 0}, {0, 255}},
        {"grey 8-bit interlaced", png(0, 8, {{1, 2}, {3, 4}}, {}, {}, true), 1, {1, 2}, {3, 4}},
        {"grey 16-bit", png(0, 16, {{0x12, 0x34, 0xab, 0xcd}, {0, 1, 0xff, 0}}), 1, {0x12, 0xab}, {0, 0xff}},
        {"grey with a colour key", png(0, 8, {{7, 8}, {7, 9}}, {}, {7}), 2, {7, 0, 8, 255}, {7, 0, 9, 255}},
        {"RGB with a colour key", png(2, 8, {{1, 2, 3, 4, 5, 6}, {1, 2, 3, 1, 2, 4}}, {}, {1, 2, 3}), 4,
         {1, 2, 3, 0, 4, 5, 6, 255}, {1, 2, 3, 0, 1, 2, 4, 255}},
        {"palette 2-bit", png(3, 2, {{0x1b}, {0xe4}}, palette), 3, {255, 0, 0, 0, 255, 0}, {9, 8, 7, 0, 0, 255}},
        {"palette 8-bit with alpha", png(3, 8, {{0, 1}, {2, 3}}, palette, {10, 20}), 4, {255, 0, 0, 10, 0, 255, 0, 20},
         {0, 0, 255, 255, 9, 8, 7, 255}},
    };
    fixture::Directory scratch;
    for (const auto& [name, picture, components, top, bottom] : cases) {
        fixture::writePng(scratch.file("p.png"), picture);
        Image* image = ImagePNG().load(scratch.file("p.png"));
        ASSERT_NE(image, nullptr) << name;
        auto row = [&](int fromBottom) {
            const unsigned char* at = image->data + fromBottom * image->width * 4;
            return std::vector<int>(at, at + 2 * image->components);
        };
        EXPECT_EQ(std::tuple(image->components, row(1), row(0)), std::tuple(components, top, bottom)) << name;
        image->releaseData();
        delete image;
    }
}

// libpng's own complaints would reach the audience's terminal; the loader keeps them to the log.
// A damaged picture, in the bad-input table; here, one wider than libpng is let read.
TEST(Png, UndecodablePicturesAreNullWithoutAWordOnStandardError)
{
    fixture::Directory scratch;
    fixture::writePng(scratch.file("wide.png"), {16385, 1, 0, 8, false, {}, {}, {std::vector<uint8_t>(16385)}});
    Image* image = nullptr;
    EXPECT_EQ(drawing::written(2, [&] { image = ImagePNG().load(scratch.file("wide.png")); }), "");
    EXPECT_EQ(image, nullptr);
}

// The left stick's vertical axis: logged when it leaves the dead zone, and seeks nothing.
TEST(GamePad, StickMotionWithinThirtyTwoHundredOfTheCentreIsIgnored)
{
    drawing::LogCapture log;
    for (int value : {3200, -3200, 0, 3201, -3201}) {
        events.event.type = SDL_JOYAXISMOTION;
        events.event.jaxis.axis = 1;
        events.event.jaxis.value = static_cast<Sint16>(value);
        joystick.update();
    }
    EXPECT_EQ(log.lines(), (std::vector<std::string>{"Joystick: L-Analog going down", "Joystick: L-Analog going up"}));
}

}  // namespace

// Depths SDL's 1.2 layer refuses, F1 under a window manager, and outputs no setting names.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <thread>

#include "tests/support/fixture.h"
#include "tests/support/program.h"

using fixture::Directory;
using program::Program;
using program::Result;
using testing::HasSubstr;
using testing::Not;

namespace {

std::string geometry(Program& program)
{
    std::smatch match;
    std::string reported = program.xdotool("getwindowgeometry " + program.window());
    return std::regex_search(reported, match, std::regex(R"(Geometry: (\d+x\d+))")) ? match[1].str() : reported;
}

// Whether the window's size becomes `size` ("800x600") within five seconds and is still that a
// second later: the resize events that follow a toggle must not undo it.
bool settlesAt(Program& program, const std::string& size)
{
    for (int tries = 0; tries < 50 && geometry(program) != size; tries++)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    std::this_thread::sleep_for(std::chrono::seconds(1));
    return geometry(program) == size;
}

}  // namespace

TEST(ColourDepth, FifteenAndInvalidDepthsStartAndSurviveAResize)
{
    for (const char* bpp : {"15", "12"}) {
        Directory directory;
        directory.config({{"BPP", bpp}, {"DEBUG", "false"}, {"MUSIC", "\"short.wav\""}});
        Result result = program::run(directory);
        EXPECT_EQ(result.status, 0) << "BPP = " << bpp << ": " << result.err;
        EXPECT_EQ(result.err, "");

        // Debug mode opens at the current depth; -b reaches the next video mode, a resize's.
        directory.config({});
        Program program(directory, {"-b", bpp});
        program.start();
        ASSERT_TRUE(program.waitUntilRunning()) << program.err();
        program.xdotool("windowsize " + program.window() + " 640 480");
        ASSERT_TRUE(program.waitForLog("OpenGL: resize: 640x480")) << program.err();
        program.key("Escape");
        EXPECT_EQ(program.wait().status, 0) << "-b " << bpp << ": " << program.err();
        std::string log = program.log(), invalid = "Invalid BPP, must be 8, 15, 16, 24 or 32. Trying current bpp.";
        bool reported = log.find(invalid, log.find("Window: Resize: 640x480")) != std::string::npos;
        EXPECT_EQ(reported, std::string(bpp) == "12") << "-b " << bpp;
    }
}

TEST(Window, F1LeavesAFullscreenStartAndComesBack)
{
    Directory directory;
    directory.config({{"FULLSCREEN", "true"}, {"DEBUG", "false"}});
    Program program(directory);
    // Openbox leaves with the program's X server; it says it is up by writing a file.
    std::system(("DISPLAY=" + program.display().name() + " openbox --startup 'touch " + directory.file("wm") +
                 "' >/dev/null 2>&1 &").c_str());
    ASSERT_TRUE(program.waitForFile("wm"));
    program.start();
    ASSERT_TRUE(settlesAt(program, "1280x1024")) << "fullscreen on the 1280 x 1024 display";
    program.key("F1");
    EXPECT_TRUE(settlesAt(program, "800x600")) << "windowed";
    program.key("F1");
    EXPECT_TRUE(settlesAt(program, "1280x1024")) << "fullscreen again";
    program.key("Escape");
    EXPECT_EQ(program.wait().status, 0) << program.err();
}

TEST(SoundOutput, OutputsNotNamedAutodetectWithoutAWordInTheLog)
{
    for (const char* audio : {"\"ALSA\"", "\"foo\"", "\"\""}) {
        Directory directory;
        directory.config({{"AUDIO", audio}, {"MUSIC", "\"short.wav\""}});
        Result result = program::run(directory);
        EXPECT_EQ(result.status, 0) << audio << result.err;
        std::string log = directory.read("demo.log");
        std::transform(log.begin(), log.end(), log.begin(), ::tolower);
        EXPECT_THAT(log, HasSubstr("audio: initializing (openal)...")) << audio;
        EXPECT_THAT(log, Not(HasSubstr("setting output to"))) << audio;
    }
}

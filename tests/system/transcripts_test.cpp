// Long message sequences as golden transcripts (tests/data/*.txt): the real demo run through
// scripted key presses while its music is paused, so every time it reports is exact.
#include <gtest/gtest.h>

#include "tests/support/fixture.h"
#include "tests/support/transcript.h"

namespace {

TEST(Session, RehearsalKeysPauseSeekSkipAndReloadWithTheirMessages)
{
    fixture::Directory directory;
    // Six entries of the scene that draws nothing, so the only pictures loaded are the rider's two
    // flip-book frames, which it takes at start whether scheduled or not: 256 and 128 texels
    // square, at four bytes a texel logged in thousands of bytes, "327kB".
    directory.remove("data/textures");
    fixture::writeSolidPng(directory.file("data/textures/ri_hest_ri0.png"), 256, 256, {255, 0, 255, 255});
    fixture::writeSolidPng(directory.file("data/textures/ri_hest_ri1.png"), 128, 128, {128, 0, 255, 255});
    directory.schedule(
        "for k = 0, 5 do addSceneToTimeline('greets', k * 10000, k < 5 and k * 10000 + 10000 or 150000) end\n");
    transcript::check(directory, "session.txt", {"-b", "12"});
    std::string screenshot = directory.read("50000.bmp");
    ASSERT_GT(screenshot.size(), 28u) << "the screenshot is named by the music position";
    EXPECT_EQ(screenshot.substr(0, 2), "BM");
    EXPECT_EQ(screenshot[28], 24) << "24 bits a pixel";
}

TEST(CommandLine, HelpListsTheOptionsAndEndsWithStatusOne)
{
    fixture::Directory directory;
    directory.config({{"DEBUG", "false"}});
    transcript::check(directory, "help.txt", {"-h"});
}

}  // namespace

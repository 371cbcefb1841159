// Numbers beyond 32 bits in the schedule and on the command line; pictures libpng cannot decode.
#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
extern "C" {
#include <lauxlib.h>
}

#include "framework/arguments.h"
#include "framework/config.h"
#include "framework/demo.h"
#include "framework/imagepng.h"
#include "framework/script.h"
#include "framework/timeline.h"
#include "tests/support/idlescene.h"
#include "tests/support/fixture.h"

TEST(LargeNumbers, ScheduleTimesAndSizeOptionsClampToThe32BitRange)
{
    demo.addScene("wide", new IdleScene());
    ASSERT_EQ(luaL_dostring(script.state, "addSceneToTimeline('wide', '-99999999999', 3000000000)"), 0);
    Timeline* entry = timeLine.entries.back();
    timeLine.entries.pop_back();
    EXPECT_EQ(entry->start, INT_MIN);
    EXPECT_EQ(entry->end, INT_MAX) << "the entry plays to the end instead of never";
    delete entry;

    std::vector<std::string> words = {"demo", "-x", "3000000000", "-y", "-4294967297", "-b", "99999999999999999999"};
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    optind = 1;
    arguments.get(static_cast<int>(argv.size()), argv.data());
    EXPECT_EQ(Config::width, INT_MAX);
    EXPECT_EQ(Config::height, INT_MIN);
    EXPECT_EQ(Config::bpp, INT_MAX);
    std::tie(Config::width, Config::height, Config::bpp) = std::make_tuple(800, 600, 0);
}

TEST(Png, UndecodablePicturesGiveNullWithoutAWordOnStandardError)
{
    fixture::Directory scratch;
    fixture::writeSolidPng(scratch.file("good.png"), 16, 16, {1, 2, 3, 255});
    std::string good = fixture::readFile(scratch.file("good.png"));
    fixture::writeFile(scratch.file("cut.png"), good.substr(0, good.size() / 2));
    fixture::writePng(scratch.file("wide.png"), {16385, 1, 0, 8, false, {}, {}, {std::vector<uint8_t>(16385)}});

    for (const char* name : {"cut.png", "wide.png"}) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(ImagePNG().load(scratch.file(name)), nullptr) << name;
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << name;
    }
}

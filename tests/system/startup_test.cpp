// The program from the outside: command-line options, the configuration, the log, the two
// Lua files, and the bad input that must end with a clear message and status 1.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>

#include "tests/support/fixture.h"
#include "tests/support/program.h"

using fixture::Directory;
using program::Program;
using program::Result;
using program::run;
using testing::HasSubstr;

// The free camera greets every start on standard output, before any option is read.
static const std::string greeting = "Cam: Initializing...\n";

static const std::string help = greeting +
    "Usage:\n\t-x set width\n\t-y set height\n\t-b set bpp\n\t-c set config file\n\t-f turn on fullscreen\n"
    "\t-d turn on debug\n\t-h print this help information\n\t-v print version\n";

TEST(CommandLine, HelpAndVersionPrintAndExitWithStatusOne)
{
    Directory directory;
    Result helped = run(directory, {"-h"});
    EXPECT_EQ(helped.status, 1);
    EXPECT_EQ(helped.out, help);

    Result version = run(directory, {"-v"});
    EXPECT_EQ(version.status, 1);
    EXPECT_EQ(version.out, greeting + "Fixture Demo - version 1.0\n");
}

TEST(CommandLine, EasterEggSpeaksOnlyForItsWord)
{
    Directory directory;
    Result vek = run(directory, {"-e", "vek"});
    EXPECT_EQ(vek.status, 1);
    EXPECT_EQ(vek.out, greeting + "Guru Meditation! :)\n");

    Result other = run(directory, {"-e", "other"});
    EXPECT_EQ(other.status, 1);
    EXPECT_EQ(other.out, greeting);
}

TEST(CommandLine, UnknownOptionOrMissingValuePrintsHelpAndExitsWithOne)
{
    Directory directory;
    for (const char* option : {"-q", "-c", "-x"}) {
        Result result = run(directory, {option});
        EXPECT_EQ(result.status, 1) << option;
        EXPECT_EQ(result.out, help) << option;
        EXPECT_THAT(result.err, HasSubstr(std::string("-- '") + (option + 1) + "'")) << "getopt names " << option;
    }
}

TEST(CommandLine, DebugOptionDoesNotOpenTheLogWhenTheFileSaysNo)
{
    Directory directory;
    directory.config({{"DEBUG", "false"}, {"MUSIC", "\"short.wav\""}});
    Result result = run(directory, {"-d"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_FALSE(directory.exists("demo.log"));
}

TEST(Log, ZeroIsTrueInLuaSoDebugZeroWritesTheLog)
{
    Directory directory;
    directory.config({{"DEBUG", "0"}, {"MUSIC", "\"short.wav\""}});
    Result result = run(directory);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(directory.read("demo.log"), HasSubstr("Logger: Logging to demo.log"));
}

TEST(Log, OpensWithItsNameAndSettingsAndClosesLast)
{
    Directory directory;
    directory.config({{"MUSIC", "\"short.wav\""}});
    Result result = run(directory);
    ASSERT_EQ(result.status, 0) << result.err;

    std::string log = directory.read("demo.log");
    std::vector<std::string> lines;
    std::istringstream stream(log);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    ASSERT_GE(lines.size(), 15u);

    const std::regex dated(R"(^\d{4}-\d{2}-\d{2}: \d{2}:\d{2}:\d{2} - (.*)$)");
    std::vector<std::string> texts;
    for (const std::string& line : lines) {
        std::smatch match;
        ASSERT_TRUE(std::regex_match(line, match, dated)) << "undated line: " << line;
        texts.push_back(match[1]);
    }
    const std::vector<std::string> opening = {
        "Logger: Logging to demo.log", "Config: Title: Fixture Demo", "Config: Version: 1.0",
        "Config: Audio: nosound",      "Config: Music: short.wav",    "Config: Width: 800",
        "Config: Height: 600",         "Config: Bpp: 0",              "Config: FSAA: 0",
        "Config: Aspect Ratio: 4:3",   "Config: Debug: 1",            "Config: Logfile: demo.log",
        "Config: Fullscreen: 0",       "Config: Vsync: 0"};
    EXPECT_EQ(std::vector<std::string>(texts.begin(), texts.begin() + opening.size()), opening);
    EXPECT_EQ(texts.back(), "Logger: Closing...");
    EXPECT_THAT(log, HasSubstr("Demo: Last scene done! :)"));
}

TEST(Script, SyntaxOrRunTimeErrorInEitherFileEndsWithStatusOne)
{
    struct Case {
        const char* file;
        const char* text;
        const char* message;
    };
    const Case cases[] = {
        {"data/config.lua", "WIDTH = = 3\n", "Script: Error! data/config.lua:1:"},
        {"data/config.lua", "error('config broke')\n", "Script: Error! data/config.lua:1: config broke"},
        {"data/demo.lua", "addSceneToTimeline(\"intro\", 0, 10\n", "Script: Error! data/demo.lua:"},
        {"data/demo.lua", "local x = nil\nx.y = 1\n", "Script: Error! data/demo.lua:2:"},
    };
    for (const Case& c : cases) {
        Directory directory;
        directory.write(c.file, c.text);
        Result result = run(directory);
        EXPECT_EQ(result.status, 1) << c.file << ": " << c.text;
        EXPECT_THAT(result.err, HasSubstr(c.message)) << c.text;
    }
}

TEST(Script, UnregisteredSceneEndsWithItsNameInLogAndOnStandardError)
{
    Directory directory;
    directory.schedule("addSceneToTimeline(\"intro\", 0, 1000)\naddSceneToTimeline(\"outro\", 0, 1000)\n");
    Result result = run(directory);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "Timeline: Error! Scene: outro dont exist!\n");
    EXPECT_THAT(directory.read("demo.log"), HasSubstr(" - Timeline: Error! Scene: outro dont exist!\n"));
}

TEST(Script, StartAndEndAreReadAsBaseTenTextOfTheValue)
{
    Directory directory;
    directory.config({{"MUSIC", "\"short.wav\""}});
    directory.schedule(
        "addSceneToTimeline(\"intro\", \"1000\", \"2000\")\n"
        "addSceneToTimeline(\"greets\", 15.9, \"0x10\")\n"
        "addSceneToTimeline(\"credits\", 1e15, 2500)\n");
    Result result = run(directory);
    ASSERT_EQ(result.status, 0) << result.err;
    std::string log = directory.read("demo.log");
    EXPECT_THAT(log, HasSubstr("Timeline: Adding scene intro to: 1000-2000\n"));
    EXPECT_THAT(log, HasSubstr("Timeline: Adding scene greets to: 15-0\n"));
    EXPECT_THAT(log, HasSubstr("Timeline: Adding scene credits to: 1-2500\n"));
}

TEST(BadInput, MissingFilesAndArgumentsEndWithAClearMessageAndStatusOne)
{
    struct Case {
        const char* remove;
        const char* schedule;
        const char* message;
    };
    const Case cases[] = {
        {"data/config.lua", nullptr, "Script: Error! cannot open data/config.lua: No such file or directory"},
        {"data/textures", nullptr, "Utils: Error! Cannot list data/textures/: No such file or directory"},
        {"data/shaders", nullptr, "Utils: Error! Cannot list data/shaders/: No such file or directory"},
        {nullptr, "addSceneToTimeline(\"intro\", 0)\n",
         "Script: Error! data/demo.lua:1: addSceneToTimeline: argument 3 (end) must be a string or a number"},
        {nullptr, "addSceneToTimeline()\n",
         "Script: Error! data/demo.lua:1: addSceneToTimeline: argument 1 (name) must be a string or a number"},
    };
    for (const Case& c : cases) {
        Directory directory;
        if (c.remove) directory.remove(c.remove);
        if (c.schedule) directory.schedule(c.schedule);
        Result result = run(directory);
        EXPECT_EQ(result.status, 1) << (c.remove ? c.remove : c.schedule);
        EXPECT_EQ(result.signal, 0);
        EXPECT_EQ(result.err, std::string(c.message) + "\n");
    }
}

TEST(Lifecycle, EscapeEndsARunningDemoWithStatusZero)
{
    Directory directory;
    Program demo(directory);
    demo.start();
    ASSERT_TRUE(demo.waitUntilRunning());
    demo.key("Escape");
    Result result = demo.wait(20);
    EXPECT_EQ(result.status, 0) << result.err;
    std::string log = demo.log();
    EXPECT_THAT(log, HasSubstr("Input: Key pressed: Escape"));
    EXPECT_THAT(log, HasSubstr("Demo: Quitting.."));
}

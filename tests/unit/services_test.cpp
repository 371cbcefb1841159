// Start-up services in process: the Lua getters, the configuration's conversions, the
// command line's parsing and the directory listing's extension rule.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

extern "C" {
#include <lua.h>
}

#include "framework/arguments.h"
#include "framework/config.h"
#include "framework/fps.h"
#include "framework/script.h"
#include "framework/utils.h"
#include "tests/support/fixture.h"

namespace fs = std::filesystem;

// Runs a chunk of Lua in the program's one state through a file, as the program does.
static void runLua(const std::string& text)
{
    fixture::Directory scratch;
    scratch.write("chunk.lua", text);
    script.load(scratch.file("chunk.lua"));
}

TEST(Script, GettersFollowLuaTruthNumberAndTextRules)
{
    runLua("ZERO = 0\nNO = false\nTEXT = 'hello'\nFRACTION = 15.9\nBIG = 1e15\nDIGITS = '640'\n");
    int depth = lua_gettop(script.state);

    EXPECT_TRUE(script.getBool("ZERO"));
    EXPECT_FALSE(script.getBool("NO"));
    EXPECT_FALSE(script.getBool("ABSENT"));
    EXPECT_TRUE(script.getBool("TEXT"));

    EXPECT_DOUBLE_EQ(script.getInt("FRACTION"), 15.9);
    EXPECT_DOUBLE_EQ(script.getInt("DIGITS"), 640.0);
    EXPECT_DOUBLE_EQ(script.getInt("ABSENT"), 0.0);
    EXPECT_DOUBLE_EQ(script.getInt("TEXT"), 0.0);

    EXPECT_EQ(script.getString("TEXT"), "hello");
    EXPECT_EQ(script.getString("FRACTION"), "15.9");
    EXPECT_EQ(script.getString("BIG"), "1e+15");
    EXPECT_EQ(script.getString("ABSENT"), "");

    EXPECT_EQ(lua_gettop(script.state), depth) << "getters must leave the stack as they found it";
}

TEST(Script, SettersWriteGlobalsThatLaterScriptsSee)
{
    script.setInt("COUNT", 7.9);
    script.setBool("FLAG", false);
    script.setString("NAME", "moth");
    runLua("RESULT = tostring(COUNT) .. tostring(FLAG) .. NAME\n");
    EXPECT_EQ(script.getString("RESULT"), "7falsemoth");
}

TEST(Config, ReadsEveryKeyTruncatingNumbersAndTakingNumericText)
{
    fixture::Directory scratch;
    scratch.write("config.lua",
                  "DEBUG = 0\nLOGFILE = 'a.log'\nTITLE = 42\nVERSION = '2'\nWIDTH = 640.7\nHEIGHT = -480.9\n"
                  "BPP = 16\nFSAA = 4\nASPECTRATIO = '16:10'\nFULLSCREEN = nil\nVSYNC = 1\nAUDIO = 'alsa'\n"
                  "MUSIC = 'x.ogg'\n");
    Config reread(scratch.file("config.lua"));
    EXPECT_TRUE(Config::getDebug());
    EXPECT_EQ(Config::getLogFile(), "a.log");
    EXPECT_EQ(Config::getTitle(), "42");
    EXPECT_EQ(Config::getWidth(), 640);
    EXPECT_EQ(Config::getHeight(), -480);
    EXPECT_EQ(Config::getBpp(), 16);
    EXPECT_EQ(Config::getFsaa(), 4);
    EXPECT_EQ(Config::getAspectRatio(), "16:10");
    EXPECT_FALSE(Config::getFullscreen());
    EXPECT_TRUE(Config::getVsync());
    EXPECT_EQ(Config::getAudio(), "alsa");
    EXPECT_EQ(Config::getMusic(), "x.ogg");
}

// getopt keeps its position in globals; every parse starts from the first argument.
static void parse(std::vector<std::string> words)
{
    words.insert(words.begin(), "demo");
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    optind = 1;
    arguments.get(static_cast<int>(argv.size()), argv.data());
}

TEST(Arguments, OverrideSettingsInOrderWithLeadingDigitsOnly)
{
    Config::debug = false;
    Config::fullscreen = false;
    parse({"-x", "1024", "-y", "abc", "-b", "24bits", "-x", "1920", "-d", "-f", "stray"});
    EXPECT_EQ(Config::width, 1920) << "a later -x overrides an earlier one";
    EXPECT_EQ(Config::height, 0) << "no digits read as 0";
    EXPECT_EQ(Config::bpp, 24);
    EXPECT_TRUE(Config::debug);
    EXPECT_TRUE(Config::fullscreen);
}

TEST(Utils, ListsBareNamesRecursivelyByExactExtension)
{
    fixture::Directory scratch;
    for (const char* file : {"d/a.png", "d/sub/b.png", "d/.png", "d/x.PNG", "d/c.png.bak", "d/noext"})
        scratch.write(file, "x");
    fs::create_directories(scratch.file("d/folder.png"));

    std::vector<std::string> files = {"kept.png"};
    utils.iterateDirectory(scratch.file("d"), ".png", files);
    std::sort(files.begin() + 1, files.end());
    EXPECT_EQ(files, (std::vector<std::string>{"kept.png", ".png", "a.png", "b.png"}));
}

TEST(FrameRate, RateTextKeepsExactlyTwoCharacters)
{
    EXPECT_EQ(rateText(59.94f), "59");
    EXPECT_EQ(rateText(7.5f), "7.");
    EXPECT_EQ(rateText(120.2f), "12");
    EXPECT_EQ(rateText(5.0f), "5");
    EXPECT_EQ(rateText(0.0f), "0");
}

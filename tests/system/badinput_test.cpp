// Bad input of every kind a user can give, each row of docs/bad-input.md: settings of the wrong
// type or out of range, broken schedules, pictures, tracks and shaders, stray options. Each
// ends with its message and status, or plays on as the table says; never a signal or a hang.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <filesystem>
#include <functional>
#include <map>

#include "tests/support/fixture.h"
#include "tests/support/program.h"

using fixture::Directory;
using program::Program;
using program::Result;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

using Settings = std::map<std::string, std::string>;

// The free camera greets every start on standard output.
const std::string greeting = "Cam: Initializing...\n";

// Half a second of music: runs that play to the end cost little more than start-up.
void useTinyTrack(const Directory& directory, Settings& settings)
{
    fixture::writeTrack(directory.file("data/audio/tiny.wav"), 0.5, 22050, 1, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    if (!settings.count("MUSIC")) settings["MUSIC"] = "\"tiny.wav\"";
}

// Runs the demo to its end or its error; a hang or a signal fails the test whatever follows.
Result runChecked(const Directory& directory, const std::string& what, std::vector<std::string> arguments = {})
{
    Result result = program::run(directory, std::move(arguments), 30);
    EXPECT_EQ(result.signal, 0) << what << ": killed by a signal or hung\n" << result.err;
    return result;
}

std::string describe(const Settings& settings)
{
    std::string text;
    for (const auto& [key, value] : settings) text += key + " = " + (value.empty() ? "(absent)" : value) + "; ";
    return text;
}

// One setting and what the log must and must not show when the demo plays on with it.
struct PlaysOn {
    Settings settings;
    std::vector<std::string> logged;
    std::vector<std::string> notLogged;
};

void expectPlaysOn(const std::vector<PlaysOn>& rows)
{
    for (const PlaysOn& row : rows) {
        Directory directory;
        Settings settings = row.settings;
        useTinyTrack(directory, settings);
        directory.config(settings);
        std::string what = describe(row.settings);
        Result result = runChecked(directory, what);
        EXPECT_EQ(result.status, 0) << what << result.err;
        EXPECT_EQ(result.err, "") << what;
        std::string log = directory.read("demo.log");
        EXPECT_THAT(log, HasSubstr("Demo: Last scene done! :)")) << what;
        for (const std::string& text : row.logged) EXPECT_THAT(log, HasSubstr(text)) << what;
        for (const std::string& text : row.notLogged) EXPECT_THAT(log, Not(HasSubstr(text))) << what;
    }
}

// A PNG declaring a size no texture can have, with valid chunks otherwise
std::string pictureDeclaring(uint32_t width, uint32_t height)
{
    auto crc = [](const std::string& bytes) {
        uint32_t c = 0xffffffffu;
        for (unsigned char b : bytes) {
            c ^= b;
            for (int k = 0; k < 8; k++) c = (c >> 1) ^ (0xedb88320u & (0u - (c & 1u)));
        }
        return ~c;
    };
    auto big = [](uint32_t v) { return std::string{char(v >> 24), char(v >> 16), char(v >> 8), char(v)}; };
    auto chunk = [&](const std::string& type, const std::string& data) {
        return big(uint32_t(data.size())) + type + data + big(crc(type + data));
    };
    std::string header = big(width) + big(height) + std::string{8, 6, 0, 0, 0};  // 8-bit RGBA
    // An empty zlib stream: the decoder never gets that far
    std::string idat = {0x78, 0x01, 0x03, 0x00, 0x00, 0x00, 0x00, 0x01};
    return "\x89PNG\r\n\x1a\n" + chunk("IHDR", header) + chunk("IDAT", idat) + chunk("IEND", "");
}

}  // namespace

TEST(BadSettings, TextKeysWithoutATextFormAreEmptyAndTruthIsLuas)
{
    expectPlaysOn({
        {{{"DEBUG", "\"no\""}}, {"Config: Debug: 1\n"}, {}},  // any string is true
        {{{"TITLE", "{}"}}, {"Config: Title: \n"}, {}},
        {{{"TITLE", "print"}}, {"Config: Title: \n"}, {}},
        {{{"TITLE", "42"}}, {"Config: Title: 42\n"}, {}},
        {{{"VERSION", "{}"}}, {"Config: Version: \n"}, {}},
        {{{"ASPECTRATIO", "{}"}}, {"Config: Aspect Ratio: \n", "Camera: resetting viewport 800x600 ()\n"}, {}},
        {{{"FULLSCREEN", "\"no\""}}, {"Config: Fullscreen: 1\n"}, {"Window: Going fullscreen!"}},
        {{{"VSYNC", "\"no\""}}, {"Config: Vsync: 1\n", "OpenGL: Vsync "}, {}},
        {{{"AUDIO", "5"}}, {"Config: Audio: 5\n"}, {"Audio: Setting output to:"}},
        {{{"AUDIO", "{}"}}, {"Config: Audio: \n"}, {"Audio: Setting output to:"}},
    });
}

TEST(BadSettings, NumbersThatAreNotNumbersAreZeroAndDebugKeepsItsOwnWindow)
{
    expectPlaysOn({
        {{{"WIDTH", "\"abc\""}, {"HEIGHT", "{}"}},
         {"Config: Width: 0\n", "Config: Height: 0\n", "Window: Creating (0x0:0)\n",
          "Camera: resetting viewport 800x600 (4:3)\n"},
         {}},
        {{{"WIDTH", "-5"}, {"HEIGHT", "100000"}},
         {"Window: Creating (-5x100000:0)\n", "Camera: resetting viewport 800x600 (4:3)\n"}, {}},
        // The debug window takes the desktop's depth before GL looks at it.
        {{{"BPP", "7"}}, {"Window: Creating (800x600:7)\n", "OpenGL: RGB size: 8, 8, 8\n"}, {"Invalid BPP"}},
        {{{"BPP", "\"abc\""}}, {"Config: Bpp: 0\n"}, {}},
        {{{"FSAA", "-1"}}, {"OpenGL: Enabling -1x FSAA...\n"}, {}},
        {{{"FSAA", "1000000"}}, {"OpenGL: Enabling 1000000x FSAA...\n"}, {}},
    });
}

TEST(BadSettings, VideoModeThatCannotBeSetEndsWithStatusOne)
{
    struct Row {
        Settings settings;
        std::string message;
    };
    const Row rows[] = {
        {{{"WIDTH", "-5"}, {"HEIGHT", "-5"}}, "Couldn't set video mode: Invalid width or height\n"},
    };
    for (const Row& row : rows) {
        Directory directory;
        Settings settings = row.settings;
        settings["DEBUG"] = "false";  // debug mode would open its own 800 x 600 window instead
        directory.config(settings);
        Result result = runChecked(directory, describe(settings));
        EXPECT_EQ(result.status, 1) << describe(settings);
        EXPECT_EQ(result.out, greeting);
        EXPECT_EQ(result.err, row.message);
    }
}

TEST(BadSettings, ZeroSizeWithoutDebugOpensTheSmallestWindowAndPlays)
{
    struct Row {
        Settings settings;
        std::string geometry;
    };
    const Row rows[] = {
        {{{"WIDTH", "\"abc\""}}, "Geometry: 1x600"},
        {{{"WIDTH", "0"}, {"HEIGHT", "0"}}, "Geometry: 1x1"},
        {{{"HEIGHT", "0"}}, "Geometry: 800x1"},
    };
    for (const Row& row : rows) {
        Directory directory;
        Settings settings = row.settings;
        settings["DEBUG"] = "false";
        directory.config(settings);
        Program demo(directory);
        demo.start();
        std::string window = demo.window();
        ASSERT_FALSE(window.empty()) << describe(settings) << demo.err();
        EXPECT_THAT(demo.xdotool("getwindowgeometry " + window), HasSubstr(row.geometry)) << describe(settings);
        demo.key("Escape");
        Result result = demo.wait(20);
        EXPECT_EQ(result.signal, 0) << describe(settings);
        EXPECT_EQ(result.status, 0) << describe(settings) << result.err;
        EXPECT_EQ(result.err, "");
    }
}

TEST(BadSettings, LogThatCannotBeWrittenIsLeftOutSilently)
{
    const Settings rows[] = {
        {{"LOGFILE", "{}"}},
        {{"LOGFILE", "\"no/such/directory/demo.log\""}},
        {{"LOGFILE", "\"data\""}},  // a directory
        {{"DEBUG", ""}},            // absent: false, no log
    };
    for (const Settings& row : rows) {
        Directory directory;
        Settings settings = row;
        useTinyTrack(directory, settings);
        directory.config(settings);
        Result result = runChecked(directory, describe(row));
        EXPECT_EQ(result.status, 0) << describe(row) << result.err;
        EXPECT_EQ(result.err, "");
        std::vector<std::string> made;
        for (const auto& entry : std::filesystem::directory_iterator(directory.path())) made.push_back(entry.path().filename());
        EXPECT_THAT(made, testing::UnorderedElementsAre("data", "stdout.txt", "stderr.txt")) << describe(row);
    }
}

TEST(BadSettings, TrackThatCannotBeOpenedEndsWithStatus255)
{
    struct Row {
        std::string music;  // "" drops the key
        std::string name;   // as logged
        std::string message;
    };
    const Row rows[] = {
        {"", "", "OpenAL error! (1) Format not recognised."},  // data/audio/ itself
        {"\"\"", "", "OpenAL error! (1) Format not recognised."},
        {"{}", "", "OpenAL error! (1) Format not recognised."},
        {"\"empty.wav\"", "empty.wav", "OpenAL error! (1) Format not recognised."},
    };
    for (const Row& row : rows) {
        Directory directory;
        directory.write("data/audio/empty.wav", "");
        directory.config({{"MUSIC", row.music}});
        Result result = runChecked(directory, "MUSIC = " + row.music);
        EXPECT_EQ(result.status, 255) << row.music;
        EXPECT_EQ(result.err, row.message + "\n") << row.music;
        EXPECT_THAT(directory.read("demo.log"), HasSubstr("Music: Loading: " + row.name + "\n"));
    }

    Directory noAudio;
    noAudio.remove("data/audio");
    Result result = runChecked(noAudio, "no data/audio/");
    EXPECT_EQ(result.status, 255);
    EXPECT_EQ(result.err, "OpenAL error! (2) System error : No such file or directory.\n");
}

TEST(BadSchedule, ArgumentsWithoutATextFormOrAMissingFileEndWithStatusOne)
{
    struct Row {
        const char* schedule;  // null: no data/demo.lua at all
        std::string message;
    };
    const std::string argument = "Script: Error! data/demo.lua:1: addSceneToTimeline: argument ";
    const Row rows[] = {
        {nullptr, "Script: Error! cannot open data/demo.lua: No such file or directory"},
        {"addSceneToTimeline({}, 0, 1000)", argument + "1 (name) must be a string or a number"},
        {"addSceneToTimeline(\"intro\", {}, 1000)", argument + "2 (start) must be a string or a number"},
        {"addSceneToTimeline(\"intro\", true, 1000)", argument + "2 (start) must be a string or a number"},
        {"addSceneToTimeline(\"intro\", 0, print)", argument + "3 (end) must be a string or a number"},
    };
    for (const Row& row : rows) {
        Directory directory;
        if (row.schedule)
            directory.schedule(std::string(row.schedule) + "\n");
        else
            directory.remove("data/demo.lua");
        Result result = runChecked(directory, row.schedule ? row.schedule : "no demo.lua");
        EXPECT_EQ(result.status, 1) << result.err;
        EXPECT_EQ(result.err, row.message + "\n");
        EXPECT_THAT(directory.read("demo.log"), Not(HasSubstr("Script: Error!")));
    }
}

TEST(BadSchedule, OddEntriesArePlayedAsWritten)
{
    struct Row {
        std::string schedule, logged;
    };
    const Row rows[] = {
        {"addSceneToTimeline(\"intro\", \"abc\", 1000)", "Timeline: Adding scene intro to: 0-1000\n"},
        {"addSceneToTimeline(\"intro\", 2000, 1000)", "Timeline: Adding scene intro to: 2000-1000\n"},
        {"addSceneToTimeline(\"intro\", 0, 1000, \"extra\", {})", "Timeline: Adding scene intro to: 0-1000\n"},
        {"-- nothing scheduled", "Demo: Last scene done! :)\n"},
    };
    for (const Row& row : rows) {
        Directory directory;
        Settings settings;
        useTinyTrack(directory, settings);
        directory.config(settings);
        directory.schedule(row.schedule + "\n");
        Result result = runChecked(directory, row.schedule);
        EXPECT_EQ(result.status, 0) << row.schedule << result.err;
        EXPECT_EQ(result.err, "");
        EXPECT_THAT(directory.read("demo.log"), HasSubstr(row.logged)) << row.schedule;
    }
}

TEST(BadTextures, PicturesThatCannotBeDecodedAreSkippedUntilASceneNeedsThem)
{
    struct Row {
        std::string what;
        std::function<void(const Directory&)> damage;
        std::string schedule;
        int status;
        std::string errStart, errEnd;
    };
    const std::string huge = pictureDeclaring(100000, 100000);
    const std::string missing = "Texture manager: Trying to bind texture credits.png that does not exist!\n";
    const Row rows[] = {
        {"huge credits.png, drawn", [&](const Directory& d) { d.write("data/textures/credits.png", huge); },
         "addSceneToTimeline(\"credits\", 0, 1000)", 1, missing, missing},
        {"huge picture nobody draws", [&](const Directory& d) { d.write("data/textures/huge.png", huge); },
         "addSceneToTimeline(\"credits\", 0, 1000)", 0, "", ""},
        {"credits.png with damaged pixel data",
         [](const Directory& d) {
             std::string png = d.read("data/textures/credits.png");
             size_t data = png.find("IDAT") + 4;
             png.replace(data, 8, std::string(8, '\xff'));
             d.write("data/textures/credits.png", png);
         },
         "addSceneToTimeline(\"credits\", 0, 1000)", 1, missing, missing},
        {"empty file", [](const Directory& d) { d.write("data/textures/empty.png", ""); }, "", 1,
         "Image: Error! data/textures/empty.png is not a png file!\n", "is not a png file!\n"},
        {"no pictures at all",
         [](const Directory& d) {
             for (const auto& entry : std::filesystem::directory_iterator(d.file("data/textures")))
                 std::filesystem::remove(entry.path());
         },
         "", 1, "trying to get an texture ID ", " that does not exist!\n"},
    };
    for (const Row& row : rows) {
        Directory directory;
        Settings settings;
        useTinyTrack(directory, settings);
        directory.config(settings);
        row.damage(directory);
        directory.schedule(row.schedule + "\n");
        Result result = runChecked(directory, row.what);
        EXPECT_EQ(result.status, row.status) << row.what << ": " << result.err;
        EXPECT_THAT(result.err, StartsWith(row.errStart)) << row.what;
        EXPECT_THAT(result.err, EndsWith(row.errEnd)) << row.what;
    }
}

TEST(BadShaders, EmptyUnlinkableMismatchedOrMisplacedShaderFiles)
{
    struct Row {
        std::string what;
        std::function<void(const Directory&)> change;
        int status;
        std::string errStart;
        std::string logged;
    };
    const Row rows[] = {
        {"empty pair",
         [](const Directory& d) {
             d.write("data/shaders/plain.vert", "");
             d.write("data/shaders/plain.frag", "");
         },
         1, "Shader: Error compiling ", "syntax error, unexpected end of file"},
        // Mesa's validation replaces the link log, so a failed link is reported and the demo,
        // which draws without shaders, plays on.
        {"vertex shader without main",
         [](const Directory& d) {
             d.write("data/shaders/plain.vert", "// " + d.path() + "\nvoid notMain() { gl_Position = vec4(0.0); }\n");
         },
         0, "Shader: Error validating program ", "Shader: Error linking program "},
        {"pair with different names",
         [](const Directory& d) {
             std::filesystem::rename(d.file("data/shaders/plain.frag"), d.file("data/shaders/other.frag"));
         },
         0, "", "Shader: Loading file: data/shaders/other.frag\n"},
        {"no shaders at all",
         [](const Directory& d) {
             d.remove("data/shaders/plain.vert");
             d.remove("data/shaders/plain.frag");
         },
         0, "", "Loader: Adding 0 steps...\n"},
        {"pair in a sub-directory",
         [](const Directory& d) {
             std::filesystem::create_directories(d.file("data/shaders/fx"));
             std::filesystem::rename(d.file("data/shaders/plain.vert"), d.file("data/shaders/fx/plain.vert"));
             std::filesystem::rename(d.file("data/shaders/plain.frag"), d.file("data/shaders/fx/plain.frag"));
         },
         1, "Shader: Error! data/shaders/plain.vert does not exist!\n", ""},
    };
    for (const Row& row : rows) {
        Directory directory;
        Settings settings;
        useTinyTrack(directory, settings);
        directory.config(settings);
        row.change(directory);
        Result result = runChecked(directory, row.what);
        EXPECT_EQ(result.status, row.status) << row.what << ": " << result.err;
        EXPECT_THAT(result.err, StartsWith(row.errStart)) << row.what;
        if (row.errStart.empty()) {
            EXPECT_EQ(result.err, "") << row.what;
        }
        EXPECT_THAT(directory.read("demo.log"), HasSubstr(row.logged)) << row.what;
    }
}

TEST(BadOptions, ValuesAreNotCheckedStrayWordsIgnoredAndALoneDashEShowsHelp)
{
    Directory directory;
    Settings settings;
    useTinyTrack(directory, settings);
    directory.config(settings);
    Result result = runChecked(directory, "odd values", {"-x", "abc", "-y", "-3", "-b", "7", "stray"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(directory.read("demo.log"), HasSubstr("Demo: Last scene done! :)"));

    result = runChecked(directory, "-e alone", {"-e"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, StartsWith(greeting + "Usage:\n"));
    EXPECT_THAT(result.err, HasSubstr("option requires an argument -- 'e'"));
}

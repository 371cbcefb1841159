// Reload on save: the real program rehearsing the credits (one picture filling the window)
// while its data/ is saved as an editor saves it; seen through the log, title and window.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <thread>

#include "tests/support/fixture.h"
#include "tests/support/program.h"

using fixture::Directory;
using program::Program;
using program::waitFor;
using testing::StartsWith;

namespace {

const std::string creditsOnly = "addSceneToTimeline(\"credits\", 0, 150000)\n";
const std::string reloaded = "Demo: Reload done. Chaning time to ";
const std::string refused = "Watcher: Reload refused, the running version plays on: ";

int countLines(const std::string& text, const std::string& needle)
{
    int count = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) count++;
    return count;
}

// A frame or two after a change the window may still show the one before.
bool shows(Program& demo, const std::function<bool(fixture::Rgba)>& colour)
{
    return waitFor(5, [&] { return colour(demo.centre()); });
}

// The fixture's credits are white, drawn a little dimmer: a light grey, where the loading
// screen before them is tinted.
bool white(fixture::Rgba seen) { return seen.r > 150 && seen.r == seen.g && seen.g == seen.b; }

class SavingInRehearsal : public testing::Test {
protected:
    void SetUp() override
    {
        directory.schedule(creditsOnly);
        demo.start();
        ASSERT_TRUE(demo.waitForLog("Watcher: Reloading on every save in data/\n", 20));
    }
    // Whatever was saved, the rehearsal is still running and ends normally.
    void TearDown() override { demo.key("Escape"); EXPECT_EQ(demo.wait().status, 0); }

    Directory directory;
    Program demo{directory};
};

TEST_F(SavingInRehearsal, SavedScheduleTakesEffectAtTheSameMusicPosition)
{
    ASSERT_TRUE(demo.waitForLog("Plot "));
    directory.schedule("addSceneToTimeline(\"guillotine\", 0, 150000)\n");
    ASSERT_TRUE(waitFor(15, [&] { return demo.log().find("Plot ", demo.log().find(reloaded)) != std::string::npos; }));
    std::string log = demo.log();
    size_t saved = log.find("Watcher: data/demo.lua changed, checking before the reload\n"), done = log.find(reloaded);
    ASSERT_LT(saved, done);
    EXPECT_NE(log.find("Timeline: Adding scene guillotine to: 0-150000\n", saved), std::string::npos);
    int position = std::stoi(log.substr(done + reloaded.size()));
    EXPECT_LE(std::stoi(log.substr(log.rfind("Plot ", saved) + 5)), position);
    EXPECT_GE(std::stoi(log.substr(log.find("Plot ", done) + 5)), position) << "the music goes on from there";
}

TEST_F(SavingInRehearsal, ReplacedPictureIsShown)
{
    EXPECT_TRUE(shows(demo, white));
    fixture::writeSolidPng(directory.file("data/textures/credits.png"), 16, 16, {220, 20, 20, 255});
    ASSERT_TRUE(demo.waitForLog(reloaded));
    EXPECT_TRUE(shows(demo, [](fixture::Rgba seen) { return seen.r > 150 && seen.g < 80; })) << "turned red";
}

TEST_F(SavingInRehearsal, ChangedShaderIsRebuilt)
{
    directory.write("data/shaders/plain.frag", "void main()\n{\n    gl_FragColor = vec4(0.5);\n}\n");
    ASSERT_TRUE(demo.waitForLog(reloaded));
    std::string log = demo.log().substr(demo.log().find("Demo: Reload!"));
    EXPECT_NE(log.find("Shader: Compiling fragment shader: data/shaders/plain.frag\n"), std::string::npos);
    EXPECT_NE(log.find("Shader: Linking program object: "), std::string::npos);
}

// Each mistake is refused with its file, line and message in the log and after the status line
// in the title; saving the file as it was resumes reloading and, at the next refresh, clears it.
TEST_F(SavingInRehearsal, MistakesKeepItPlayingWithTheErrorInLogAndTitleUntilFixed)
{
    struct Mistake { std::string file, text, message; };
    const std::vector<Mistake> mistakes = {
        {"data/demo.lua", "addSceneToTimeline(\"credits\", 0 150000)\n",
         "Script: Error! data/demo.lua:1: ')' expected near '150000'"},
        {"data/demo.lua", "\naddSceneToTimeline(\"credit\", 0, 150000)\n",
         "Script: Error! data/demo.lua:2: addSceneToTimeline: no scene is registered as credit"},
        {"data/demo.lua", creditsOnly + "error(\"typo\")\n", "Script: Error! data/demo.lua:2: typo"},
        {"data/textures/credits.png", "not a picture", "Image: Error! data/textures/credits.png is not a png file!"},
        {"data/textures/credits.png", "\x89PNG\r\n\x1a\n and no chunks",
         "Image: Error! data/textures/credits.png could not be decoded!"},
        {"data/shaders/plain.frag", "void main()\n{\n    gl_FragColor = vec4(1.0)\n}\n",
         "data/shaders/plain.vert, data/shaders/plain.frag: Shader: Info log: "}};
    int reloads = 0;
    for (const Mistake& mistake : mistakes) {
        std::string good = directory.read(mistake.file);
        directory.write(mistake.file, mistake.text);
        ASSERT_TRUE(demo.waitForLog(refused + mistake.message)) << mistake.text;
        std::string title;
        EXPECT_TRUE(waitFor(5, [&] { return (title = demo.title()).find(mistake.message) != std::string::npos; }));
        EXPECT_THAT(title, StartsWith("Scene: 0/6 - Time: ")) << "the status line comes first";
        EXPECT_EQ(countLines(demo.log(), "Demo: Reload!"), reloads);

        directory.write(mistake.file, good);
        ASSERT_TRUE(waitFor(15, [&] { return countLines(demo.log(), reloaded) == reloads + 1; }));
        reloads++;
    }
    EXPECT_TRUE(waitFor(5, [&] { return demo.title().find(" - data/") == std::string::npos; })) << demo.title();
}

TEST_F(SavingInRehearsal, EachBurstAndEachRenameIntoPlaceReloadsOnceAndSettingsOnlyAskForARestart)
{
    // A save of the settings is noted once its own burst is over: after any late second reload.
    const std::string restart = "Watcher: data/config.lua changed: it is read once at start-up, restart the demo";
    auto reloadsOnceQuiet = [&] {
        int asked = countLines(demo.log(), restart);
        directory.write("data/config.lua", directory.read("data/config.lua") + "-- a comment\n");
        EXPECT_TRUE(waitFor(15, [&] { return countLines(demo.log(), restart) == asked + 1; }));
        return countLines(demo.log(), "Demo: Reload!");
    };

    directory.schedule("addSceneToTimeline(\"greets\", 0, 150000)\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    directory.schedule(creditsOnly);
    ASSERT_TRUE(demo.waitForLog(reloaded));
    EXPECT_EQ(reloadsOnceQuiet(), 1) << "two saves a tenth of a second apart";
    EXPECT_EQ(countLines(demo.log(), "Timeline: Adding scene greets"), 0) << "a burst reads only its last save";

    directory.write("data/demo.lua.new", "addSceneToTimeline(\"guillotine\", 0, 150000)\n");  // not read
    std::filesystem::rename(directory.file("data/demo.lua.new"), directory.file("data/demo.lua"));
    EXPECT_EQ(reloadsOnceQuiet(), 2) << "a rename into place";
    EXPECT_NE(demo.log().find("Adding scene guillotine", demo.log().rfind("Demo: Reload!")), std::string::npos);
}

TEST(SavingInAShowing, WithoutDebugModeNothingIsWatchedOrReloaded)
{
    Directory directory;
    directory.config({{"DEBUG", "false"}});
    directory.schedule(creditsOnly);
    Program demo(directory);
    demo.start();
    ASSERT_TRUE(shows(demo, white)) << "the credits are drawn";
    std::string pid = demo.xdotool("getwindowpid %w");
    for (const auto& entry : std::filesystem::directory_iterator("/proc/" + pid + "/fd"))
        EXPECT_NE(std::filesystem::read_symlink(entry.path()).string(), "anon_inode:inotify");

    fixture::writeSolidPng(directory.file("data/textures/credits.png"), 16, 16, {220, 20, 20, 255});
    // A debug-mode reload shows well within this.
    EXPECT_FALSE(waitFor(1.5, [&] { return !white(demo.centre()); })) << "still the picture it started with";
    demo.key("Escape");
    EXPECT_EQ(demo.wait().status, 0);
}

}  // namespace

// Reload on save: the real program rehearsing the credits (one picture filling the window)
// while its data/ is saved as an editor saves it, and spoilt as an author might spoil it; seen
// through the log, the title and the window. How saves are grouped into one reload, and what a
// save made during a reload does, are tested in process (inprocess/rehearsal_test.cpp).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <functional>

#include "tests/support/fixture.h"
#include "tests/support/program.h"

namespace fs = std::filesystem;

using fixture::Directory;
using program::occurrences;
using program::Program;
using program::waitFor;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

const std::string creditsOnly = "addSceneToTimeline(\"credits\", 0, 150000)\n";
const std::string reloaded = "Demo: Reload done. Chaning time to ";
const std::string refused = "Watcher: Reload refused, the running version plays on: ";
const fixture::Rgba red{220, 20, 20, 255}, green{20, 220, 20, 255};

// A frame or two after a change the window may still show the one before.
bool shows(Program& demo, const std::function<bool(fixture::Rgba)>& colour)
{
    return waitFor(5, [&] { return colour(demo.centre()); });
}

// The fixture's credits are white, drawn a little dimmer: a light grey, where the loading
// screen before them is tinted.
bool white(fixture::Rgba seen) { return seen.r > 150 && seen.r == seen.g && seen.g == seen.b; }
bool reddish(fixture::Rgba seen) { return seen.r > 150 && seen.g < 80; }
bool greenish(fixture::Rgba seen) { return seen.g > 150 && seen.r < 80; }

// The music positions of the log's "Plot" lines and reloads, in order.
std::vector<int> positions(const std::string& log)
{
    std::vector<int> found;
    for (const std::string& line : program::lines(log))
        for (const std::string& mark : {std::string("Plot "), reloaded})
            if (line.find(mark) != std::string::npos)
                found.push_back(std::stoi(line.substr(line.find(mark) + mark.size())));
    return found;
}

// An author's slip and its repair: a save the show refuses, or takes with a warning.
struct Mistake {
    std::string message;  // in the log and after the status line in the title
    std::function<void()> spoil, mend;
    bool taken = false;  // reloaded all the same, with the message as a warning
};

class SavingInRehearsal : public testing::Test {
protected:
    void SetUp() override
    {
        directory.schedule(creditsOnly);
        asUser = demo.unprivileged();  // so that permissions hold when the tests run as root
        demo.start();
        ASSERT_TRUE(demo.waitForLog("Watcher: Reloading on every save in data/\n", 20));
    }
    // Whatever was saved, the rehearsal is still running and ends normally.
    void TearDown() override
    {
        demo.key("Escape");
        EXPECT_EQ(demo.wait().status, 0);
    }

    // Writes a file as editors do: a temporary file renamed into place.
    void save(const std::string& relative, const std::function<void(const std::string&)>& write)
    {
        write(directory.file(relative + ".new"));
        fs::rename(directory.file(relative + ".new"), directory.file(relative));
    }
    void save(const std::string& relative, const std::string& text)
    {
        save(relative, [&](const std::string& path) { fixture::writeFile(path, text); });
    }
    int reloads() { return occurrences(demo.log(), reloaded); }

    // The show plays on with the message in the log and the title, and after the repair reloads
    // and clears the title; the music never starts again, so it goes on from where it was.
    void spoilAndMend(const Mistake& mistake)
    {
        int before = reloads();
        const std::string said = (mistake.taken ? "" : refused) + mistake.message;
        int saidBefore = occurrences(demo.log(), said);
        mistake.spoil();
        // A warning is logged while the reload it belongs to is still going on: its end is awaited.
        ASSERT_TRUE(waitFor(20, [&] {
            return occurrences(demo.log(), said) > saidBefore && reloads() >= before + mistake.taken;
        })) << said;
        EXPECT_EQ(reloads(), before + mistake.taken) << mistake.message;
        std::string title;
        EXPECT_TRUE(waitFor(5, [&] { return (title = demo.title()).find(mistake.message) != std::string::npos; }))
            << title;
        EXPECT_THAT(title, StartsWith("Scene: 0/6 - Time: ")) << "the status line comes first";

        mistake.mend();
        ASSERT_TRUE(waitFor(20, [&] { return reloads() == before + mistake.taken + 1; })) << mistake.message;
        EXPECT_TRUE(
            waitFor(5, [&] { return (title = demo.title()).find(" - ", title.find("FPS: ")) == std::string::npos; }))
            << "still in the title: " << title;
        std::vector<int> heard = positions(demo.log());
        EXPECT_TRUE(std::is_sorted(heard.begin(), heard.end())) << mistake.message;
        EXPECT_EQ(occurrences(demo.log(), "Music: Start"), 1) << "started once, never again";
    }

    Directory directory;
    Program demo{directory};
    bool asUser = false;
};

TEST_F(SavingInRehearsal, SavedScheduleTakesEffectAtTheSameMusicPosition)
{
    ASSERT_TRUE(demo.waitForLog("Plot "));
    directory.schedule("addSceneToTimeline(\"guillotine\", 0, 150000)\n");
    ASSERT_TRUE(waitFor(15, [&] { return demo.log().find("Plot ", demo.log().find(reloaded)) != std::string::npos; }));
    std::string log = demo.log();
    size_t saved = log.find("Watcher: data/demo.lua changed, reading data/ once for the reload\n"),
           done = log.find(reloaded);
    ASSERT_LT(saved, done);
    EXPECT_NE(log.find("Timeline: Adding scene guillotine to: 0-150000\n", saved), std::string::npos);
    int position = std::stoi(log.substr(done + reloaded.size()));
    EXPECT_LE(std::stoi(log.substr(log.rfind("Plot ", saved) + 5)), position);
    EXPECT_GE(std::stoi(log.substr(log.find("Plot ", done) + 5)), position) << "the music goes on from there";
}

TEST_F(SavingInRehearsal, ReplacedPictureIsShownAndChangedShaderIsRebuilt)
{
    EXPECT_TRUE(shows(demo, white));
    save("data/textures/credits.png", [](const std::string& path) { fixture::writeSolidPng(path, 16, 16, red); });
    ASSERT_TRUE(demo.waitForLog(reloaded));
    EXPECT_TRUE(shows(demo, reddish));

    directory.write("data/shaders/plain.frag", "void main()\n{\n    gl_FragColor = vec4(0.5);\n}\n");
    ASSERT_TRUE(waitFor(15, [&] { return reloads() == 2; }));
    std::string log = demo.log().substr(demo.log().find("Watcher: data/shaders/plain.frag changed"));
    EXPECT_NE(log.find("Shader: Compiling fragment shader: data/shaders/plain.frag\n"), std::string::npos);
    EXPECT_NE(log.find("Shader: Linking program object: "), std::string::npos);
}

// Each mistake that would have ended the program, or hung it, is refused with its file and
// message; a picture that will be drawn garbled is taken, and named.
TEST_F(SavingInRehearsal, MistakesKeepItPlayingWithTheErrorInLogAndTitleUntilMended)
{
    const std::string schedule = directory.read("data/demo.lua"), picture = directory.read("data/textures/credits.png");
    const std::string vertex = directory.read("data/shaders/plain.vert");
    auto scheduleSaved = [&](const std::string& lua) { return [=] { save("data/demo.lua", lua); }; };
    auto scheduleMended = scheduleSaved(schedule);
    auto pictureSaved = [&](const std::string& bytes) { return [=] { save("data/textures/credits.png", bytes); }; };
    auto pictureMended = pictureSaved(picture);
    auto removed = [&](const std::string& relative) { return [=] { directory.remove(relative); }; };

    // One row for each way a save can fail; what the schedule's sandbox refuses, and what it
    // stops at its limits, is tested in process.
    const Mistake mistakes[] = {
        {"Script: Error! data/demo.lua:1: ')' expected near '150000'",
         scheduleSaved("addSceneToTimeline(\"credits\", 0 150000)\n"), scheduleMended},
        {"Script: Error! data/demo.lua:2: addSceneToTimeline: no scene is registered as credit",
         scheduleSaved("\naddSceneToTimeline(\"credit\", 0, 150000)\n"), scheduleMended},
        {"Image: Error! data/textures/credits.png could not be decoded!",
         pictureSaved("\x89PNG\r\n\x1a\n and no chunks"), pictureMended},
        {"Texture manager: Error! data/textures/credits.png does not exist, and the credits scene binds it!",
         [&] { fs::rename(directory.file("data/textures/credits.png"), directory.file("data/textures/c.png")); },
         [&] { fs::rename(directory.file("data/textures/c.png"), directory.file("data/textures/credits.png")); }},
        {"Image: Error! data/textures/pipe.png is not a regular file!",
         [&] { ASSERT_EQ(mkfifo(directory.file("data/textures/pipe.png").c_str(), 0644), 0); },
         removed("data/textures/pipe.png")},
        {"data/shaders/plain.vert, data/shaders/plain.frag: Shader: Error linking program ",
         [&] { directory.write("data/shaders/plain.vert", "void helper() {}\n"); },
         [&] { directory.write("data/shaders/plain.vert", vertex); }},
        {"Texture manager: Warning! data/textures/credits.png: fewer than four components, drawn garbled",
         [&] {
             save("data/textures/credits.png", [](const std::string& path) {
                 fixture::writePng(path, {1, 1, 2, 8, false, {}, {}, {{200, 100, 50}}});
             });
         },
         pictureMended, true},
    };
    for (const Mistake& mistake : mistakes) {
        spoilAndMend(mistake);
        if (HasFatalFailure()) return;
    }
}

// Permissions do not stop the tests' own user when that is root: the demo runs as "nobody".
TEST_F(SavingInRehearsal, UnreadablePicturesAndFoldersAreRefusedByName)
{
    if (!asUser) GTEST_SKIP() << "no user without privileges to run the demo as";
    const std::string picture = directory.read("data/textures/credits.png");
    spoilAndMend({"Image: Error! data/textures/credits.png is unreadable!",
                  [&] {
                      save("data/textures/credits.png", [&](const std::string& path) {
                          fixture::writeFile(path, picture);
                          fs::permissions(path, fs::perms::none);
                      });
                  },
                  [&] { save("data/textures/credits.png", picture); }});
    spoilAndMend({"Utils: Error! Cannot list data/textures/private: Permission denied",
                  [&] {
                      fs::create_directories(directory.file("data/textures/private"));
                      fs::permissions(directory.file("data/textures/private"), fs::perms::none);
                      save("data/demo.lua", creditsOnly);
                  },
                  [&] {
                      fs::permissions(directory.file("data/textures/private"), fs::perms::all);
                      save("data/demo.lua", creditsOnly);
                  }});
}

// Pausing, a checkout replacing data/textures/, and a picture that is a link to a file
// elsewhere: each time the saved picture is on the screen.
TEST_F(SavingInRehearsal, PausedCheckedOutAndLinkedPicturesReloadAsSaved)
{
    ASSERT_TRUE(demo.waitForLog("Plot "));
    demo.key("space");
    ASSERT_TRUE(demo.waitForLog("Demo: Paused!"));
    demo.key("Return");
    ASSERT_TRUE(waitFor(5, [&] { return occurrences(demo.out(), "Time: ") == 1; }));
    save("data/textures/credits.png", [](const std::string& path) { fixture::writeSolidPng(path, 16, 16, red); });
    ASSERT_TRUE(demo.waitForLog(reloaded));
    EXPECT_TRUE(shows(demo, reddish)) << "shown while paused";
    demo.key("Return");
    ASSERT_TRUE(waitFor(5, [&] { return occurrences(demo.out(), "Time: ") == 2; }));
    std::string out = demo.out();
    size_t first = out.find("Time: "), second = out.find("Time: ", first + 1);
    EXPECT_EQ(out.substr(first, out.find('\n', first) - first), out.substr(second, out.find('\n', second) - second))
        << "still paused at the same moment";
    EXPECT_EQ(occurrences(demo.log(), "Timer: Unpaused!"), 0);
    demo.key("space");

    fs::rename(directory.file("data/textures"), directory.file("checked-out"));
    fs::copy(directory.file("checked-out"), directory.file("data/textures"));
    fixture::writeSolidPng(directory.file("data/textures/credits.png"), 16, 16, green);
    ASSERT_TRUE(demo.waitForLog("Watcher: data/textures/ was replaced, watching it again"));
    ASSERT_TRUE(waitFor(15, [&] { return reloads() == 2; }));
    EXPECT_TRUE(shows(demo, greenish));
    save("data/textures/credits.png", [](const std::string& path) { fixture::writeSolidPng(path, 16, 16, red); });
    EXPECT_TRUE(waitFor(15, [&] { return reloads() == 3; })) << "the new folder is watched";

    fixture::writeSolidPng(directory.file("art/credits.png"), 16, 16, green);
    directory.remove("data/textures/credits.png");
    fs::create_symlink(directory.file("art/credits.png"), directory.file("data/textures/credits.png"));
    ASSERT_TRUE(waitFor(15, [&] { return reloads() == 4; }));
    EXPECT_TRUE(shows(demo, greenish));
    fixture::writeSolidPng(directory.file("art/credits.png"), 16, 16, red);
    ASSERT_TRUE(waitFor(15, [&] { return reloads() == 5; })) << "the link's target saved";
    EXPECT_TRUE(shows(demo, reddish));
}

TEST_F(SavingInRehearsal, ARenameIntoPlaceReloadsOnceAndSettingsOnlyAskForARestart)
{
    directory.write("data/demo.lua.new", "addSceneToTimeline(\"guillotine\", 0, 150000)\n");  // not read
    fs::rename(directory.file("data/demo.lua.new"), directory.file("data/demo.lua"));
    ASSERT_TRUE(demo.waitForLog(reloaded));
    EXPECT_NE(demo.log().find("Adding scene guillotine", demo.log().rfind("Demo: Reload!")), std::string::npos);

    directory.write("data/config.lua", directory.read("data/config.lua") + "-- a comment\n");
    ASSERT_TRUE(
        demo.waitForLog("Watcher: data/config.lua changed: it is read once at start-up, restart the demo to apply it"));
    EXPECT_EQ(occurrences(demo.log(), "Demo: Reload!"), 1);
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

    fixture::writeSolidPng(directory.file("data/textures/credits.png"), 16, 16, red);
    // A debug-mode reload shows well within this.
    EXPECT_FALSE(waitFor(1.5, [&] { return !white(demo.centre()); })) << "still the picture it started with";

    // The keys' reload is as it was: a schedule that never ends ends the demo.
    directory.schedule("while true do end\n");
    demo.key("shift+BackSpace");
    program::Ended result = demo.wait();
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("Script: Error! data/demo.lua:1: "));
}

}  // namespace

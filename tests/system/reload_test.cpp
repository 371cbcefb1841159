// Reload on save: the real program rehearsing the credits (one picture filling the window) while
// its data/ is saved as an editor saves it and spoilt as an author might; seen through the log, the
// title and the window. Which saves make one reload, a save during one: inprocess/rehearsal_test.cpp.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "tests/support/fixture.h"
#include "tests/support/program.h"

namespace fs = std::filesystem;

using program::occurrences;
using program::waitFor;

namespace {

const std::string creditsPicture = "data/textures/credits.png";
const std::string reloaded = "Demo: Reload done. Chaning time to ";
const std::string refused = "Watcher: Reload refused, the running version plays on: ";

using Writer = std::function<void(const std::string& path)>;

Writer text(const std::string& contents)
{
    return [=](const std::string& path) { fixture::writeFile(path, contents); };
}

// An author's slip saved into `file`, and its repair: `mend`, then `file` saved back as it was
struct Mistake {
    std::string message, file;  // the message in the log and after the status line in the title
    Writer spoil;
    bool taken = false;  // reloaded all the same, with the message as a warning
    std::function<void()> mend = nullptr;
};

class SavingInRehearsal : public testing::Test {
protected:
    void SetUp() override
    {
        directory.schedule("addSceneToTimeline(\"credits\", 0, 150000)\n");
        asUser = demo.unprivileged();  // so that permissions hold when the tests run as root
        demo.start();
        ASSERT_TRUE(demo.waitForLog("Watcher: Reloading on every save in data/\n", 20));
    }
    // Whatever was saved, the rehearsal is still running and ends normally.
    void TearDown() override { EXPECT_EQ(demo.quit().status, 0); }

    // Writes a file as editors do: a temporary file renamed into place.
    void save(const std::string& relative, const Writer& write)
    {
        write(directory.file(relative + ".new"));
        fs::rename(directory.file(relative + ".new"), directory.file(relative));
    }
    int reloads() { return occurrences(demo.log(), reloaded); }

    // The show plays on with the message in the log and the title, and after the repair reloads
    // and clears the title; the music never starts again, so it goes on from where it was.
    void spoilAndMend(const Mistake& mistake)
    {
        const std::string original = directory.read(mistake.file);
        int before = reloads();
        const std::string said = (mistake.taken ? "" : refused) + mistake.message;
        int saidBefore = occurrences(demo.log(), said);
        save(mistake.file, mistake.spoil);
        // A warning is logged while the reload it belongs to is still going on: its end is awaited.
        ASSERT_TRUE(waitFor(20, [&] {
            return occurrences(demo.log(), said) > saidBefore && reloads() >= before + mistake.taken;
        })) << said;
        EXPECT_EQ(reloads(), before + mistake.taken) << mistake.message;
        EXPECT_TRUE(demo.waitForTitle(mistake.message)) << demo.title();
        EXPECT_THAT(demo.title(), testing::StartsWith("Scene: 0/6 - Time: ")) << "the status line comes first";

        if (mistake.mend) mistake.mend();
        save(mistake.file, text(original));
        ASSERT_TRUE(waitFor(20, [&] { return reloads() == before + mistake.taken + 1; })) << mistake.message;
        EXPECT_TRUE(demo.waitForStatusAlone()) << "still in the title: " << demo.title();
        std::vector<int> heard = program::musicPositions(demo.log());
        EXPECT_TRUE(std::is_sorted(heard.begin(), heard.end())) << mistake.message;
        EXPECT_EQ(occurrences(demo.log(), "Music: Start"), 1) << "started once, never again";
    }

    fixture::Directory directory;
    program::Program demo{directory};
    bool asUser = false;
};

// Each mistake that would have ended the program, or hung it, is refused with its file and
// message; a picture that will be drawn garbled is taken, and named. Permissions do not stop
// the tests' own user when that is root: the demo runs as "nobody" where there is one.
TEST_F(SavingInRehearsal, MistakesKeepItPlayingWithTheErrorInLogAndTitleUntilMended)
{
    const std::string schedule = "data/demo.lua", folder = "data/textures/private";
    // One row for each way a save can fail. What the schedule's sandbox refuses, and a picture
    // gone that a scene binds, are tested in process; a pipe is refused as it is at start-up.
    std::vector<Mistake> mistakes = {
        {"Script: Error! data/demo.lua:1: ')' expected near '150000'", schedule,
         text("addSceneToTimeline(\"credits\", 0 150000)\n")},
        {"Image: Error! data/textures/credits.png could not be decoded!", creditsPicture,
         text("\x89PNG\r\n\x1a\n and no chunks")},
        {"data/shaders/plain.vert, data/shaders/plain.frag: Shader: Error linking program ", "data/shaders/plain.vert",
         text("void helper() {}\n")},
        {"Texture manager: Warning! data/textures/credits.png: fewer than four components, drawn garbled",
         creditsPicture,
         [](const std::string& path) { fixture::writePng(path, {1, 1, 2, 8, false, {}, {}, {{200, 100, 50}}}); },
         true},
    };
    if (asUser) {
        mistakes.push_back({"Image: Error! data/textures/credits.png is unreadable!", creditsPicture,
                            [&](const std::string& path) {
                                fs::copy_file(directory.file(creditsPicture), path);
                                fs::permissions(path, fs::perms::none);
                            }});
        // A folder that cannot be listed is found when the next save reads data/ again.
        mistakes.push_back({"Utils: Error! Cannot list data/textures/private: Permission denied", schedule,
                            [&](const std::string& path) {
                                fs::create_directories(directory.file(folder));
                                fs::permissions(directory.file(folder), fs::perms::none);
                                fixture::writeFile(path, directory.read(schedule));
                            },
                            false, [&] { fs::permissions(directory.file(folder), fs::perms::all); }});
    }
    for (const Mistake& mistake : mistakes) {
        spoilAndMend(mistake);
        if (HasFatalFailure()) return;
    }
}

// A save while paused is on the screen at once, and the music stays where it was paused. The
// log names the file saved; the settings are read once, at start-up, and only ask for a restart.
TEST_F(SavingInRehearsal, APictureSavedWhilePausedIsShownAndTheShowStaysPaused)
{
    // The time Return prints, once it is printed
    auto printedTime = [&] {
        int printed = occurrences(demo.out(), "Time: ");
        demo.key("Return");
        EXPECT_TRUE(waitFor(5, [&] { return occurrences(demo.out(), "Time: ") > printed; }));
        return program::lines(demo.out()).back();
    };
    ASSERT_TRUE(demo.waitForLog("Plot "));
    demo.key("space");
    ASSERT_TRUE(demo.waitForLog("Demo: Paused!"));
    std::string paused = printedTime();
    save(creditsPicture, [](const std::string& path) { fixture::writeSolidPng(path, 16, 16, {220, 20, 20, 255}); });
    ASSERT_TRUE(demo.waitForLog(reloaded));
    EXPECT_TRUE(demo.shows("r"));
    EXPECT_EQ(printedTime(), paused) << "still paused at the same moment";
    EXPECT_EQ(occurrences(demo.log(), "Timer: Unpaused!"), 0);
    EXPECT_TRUE(demo.waitForLog("Watcher: data/textures/credits.png changed, reading data/ once for the reload\n"));

    directory.write("data/config.lua", directory.read("data/config.lua") + "-- a comment\n");
    ASSERT_TRUE(
        demo.waitForLog("Watcher: data/config.lua changed: it is read once at start-up, restart the demo to apply it"));
    EXPECT_EQ(occurrences(demo.log(), "Demo: Reload!"), 1);
}

}  // namespace

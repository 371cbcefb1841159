// The window: its title in a rehearsal, the X server lost under it, and F1 under a real window
// manager, which Xvfb alone cannot show.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <regex>
#include <thread>

#include "tests/support/fixture.h"
#include "tests/support/program.h"

using program::Program;

namespace {

// Whether the window's size becomes `size` ("800x600") and is still that a second later: the
// resize events that follow a toggle must not undo it.
bool settlesAt(Program& program, const std::string& size)
{
    auto sized = [&] {
        return (program.xdotool("getwindowgeometry %w") + "\n").find("Geometry: " + size + "\n") != std::string::npos;
    };
    program::waitFor(5, sized);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    return sized();
}

// The fixture's track is 150 s long; the two characters after "FPS: " are the rate's first two.
TEST(Window, RehearsalTitleShowsTheStatusLineEverySecondAndPausedOrRunning)
{
    fixture::Directory directory;
    Program program(directory);
    program.start();
    const std::regex status(R"(Scene: [0-5]/6 - Time: 0:\d{1,2}/2:30 - FPS: ..)");
    std::string title;
    EXPECT_TRUE(program::waitFor(15, [&] { return std::regex_match(title = program.title(), status); })) << title;
    for (const char* shown : {"Paused", "Running"}) {
        program.key("space");
        EXPECT_TRUE(program::waitFor(5, [&] { return (title = program.title()) == shown; })) << title;
    }
    EXPECT_TRUE(program::waitFor(5, [&] { return std::regex_match(title = program.title(), status); })) << title;
    EXPECT_EQ(program.quit().status, 0);
}

// The session ends under the demo: it ends too, saying why, rather than wait on the gone server.
TEST(Window, LosingTheXServerEndsItWithStatusOneAndSaysWhy)
{
    fixture::Directory directory;
    Program program(directory);
    program.start();
    ASSERT_TRUE(program.waitForLog("Demo: Starting now!")) << program.err();
    program.loseDisplay();
    program::Ended ended = program.wait(10);
    EXPECT_EQ(ended.status, 1) << "killed after 10 s, or by signal " << ended.signal;
    EXPECT_NE(ended.err.find("Lost the connection to the X server :"), std::string::npos) << ended.err;
}

TEST(Window, F1LeavesAFullscreenStartAndComesBack)
{
    fixture::Directory directory;
    directory.config({{"FULLSCREEN", "true"}, {"DEBUG", "false"}});
    Program program(directory);
    // Openbox leaves with the program's X server; it says it is up by writing a file.
    std::system(("DISPLAY=" + program.display() + " openbox --startup 'touch " + directory.file("wm") +
                 "' >/dev/null 2>&1 &").c_str());
    ASSERT_TRUE(program::waitFor(15, [&] { return std::filesystem::exists(directory.file("wm")); }));
    program.start();
    ASSERT_TRUE(settlesAt(program, "1280x1024")) << "fullscreen on the 1280 x 1024 display";
    program.key("F1");
    EXPECT_TRUE(settlesAt(program, "800x600")) << "windowed";
    program.key("F1");
    EXPECT_TRUE(settlesAt(program, "1280x1024")) << "fullscreen again";
    EXPECT_EQ(program.quit().status, 0) << program.err();
}

}  // namespace

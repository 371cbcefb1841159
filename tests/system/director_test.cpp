// The director driven through the real program: reload and restart in their orders, the
// status line in the title, the time bar, and a paused loop that still handles events.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <chrono>
#include <regex>
#include <thread>

#include "tests/support/fixture.h"
#include "tests/support/program.h"

using fixture::Directory;
using program::Program;
using program::Result;
using testing::HasSubstr;

namespace {

// The position the program prints for Return, in milliseconds (hundredths resolution).
int printedTime(Program& demo)
{
    std::string before = demo.out();
    demo.key("Return");
    EXPECT_TRUE(demo.waitForOut(before + "Time: ")) << "no time printed";
    demo.waitForOut("\n", 1);
    std::string line = demo.out().substr(before.size());
    std::smatch match;
    if (!std::regex_search(line, match, std::regex(R"(Time: (\d+):(\d+):(\d+)\n)"))) return -1;
    return std::stoi(match[1]) * 60000 + std::stoi(match[2]) * 1000 + std::stoi(match[3]) * 10;
}

// Waits until `text` stands on `count` lines of the log.
bool waitForCount(Program& demo, const std::string& text, int count)
{
    for (int tries = 0; tries < 750; tries++) {
        if (program::countLines(demo.log(), text) >= count) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

// Fails unless every text appears in `log` after `from`, in the given order.
void expectInOrder(const std::string& log, size_t from, const std::vector<std::string>& texts)
{
    size_t at = from;
    for (const std::string& text : texts) {
        size_t found = log.find(text, at);
        ASSERT_NE(found, std::string::npos) << "\"" << text << "\" missing or out of order";
        at = found + text.size();
    }
}

const std::vector<std::string> rebuildOrder = {
    "Demo: Stopped!", "Timer: Stopped!", "Scene: Releasing credits", "Scene: Releasing solardistrict",
    "Loader: Clearing values...", "Shader manager: freeing shaders...", "Shader manager: Loading shader #0: plain",
    "Texture manager: Clearing images...", "Texture manager: Uploaded 23 textures.",
    "Demo: Loading script: data/demo.lua", "Timeline: Adding scene intro to: 0-44000",
    "Scene: Initializing credits", "Scene: Initializing solardistrict"};

// A rehearsal moved past ten seconds: two taps of Right, each one seek of 5 s.
class Rehearsal : public testing::Test {
protected:
    void SetUp() override
    {
        demo.start();
        ASSERT_TRUE(demo.waitUntilRunning());
        demo.key("Right");
        demo.key("Right");
        before = printedTime(demo);
        ASSERT_GE(before, 10000);
    }

    Directory directory;
    Program demo{directory};
    int before = 0;
};

TEST_F(Rehearsal, ReloadRebuildsEverythingAndReturnsToTheOldPosition)
{
    demo.keyDown("shift");
    demo.key("BackSpace");
    demo.keyUp("shift");
    ASSERT_TRUE(waitForCount(demo, "Demo: Reload done. Chaning time to ", 1));
    std::string log = demo.log();
    size_t start = log.find("Demo: Reload!");
    ASSERT_NE(start, std::string::npos);
    std::vector<std::string> order = rebuildOrder;
    order.insert(order.end(), {"Demo: Starting now!", "Timer: Started!", "Demo: Reload done. Chaning time to 1"});
    expectInOrder(log, start, order);

    int after = printedTime(demo);
    EXPECT_GE(after, before) << "reload keeps the music position";
    EXPECT_LT(after, before + 5000);
    demo.key("Escape");
    EXPECT_EQ(demo.wait().status, 0);
}

TEST_F(Rehearsal, RestartRewindsBeforeStartingTheTimer)
{
    demo.key("BackSpace");
    // The first start belongs to the program's own start; the second ends the restart.
    ASSERT_TRUE(waitForCount(demo, "Timer: Started!", 2));
    std::string log = demo.log();
    size_t start = log.find("Demo: Restart!");
    ASSERT_NE(start, std::string::npos);
    std::vector<std::string> order = rebuildOrder;
    order.insert(order.end(), {"Demo: Starting now!", "Timer: Started!"});
    expectInOrder(log, start, order);

    EXPECT_LT(printedTime(demo), 5000) << "restart plays from the beginning";
    demo.key("Escape");
    EXPECT_EQ(demo.wait().status, 0);
}

TEST(RunningDemo, StatusLineShowsSceneTimeLengthAndTwoCharacterRate)
{
    Directory directory;
    Program demo(directory);
    demo.start();
    ASSERT_TRUE(demo.waitForLog("Plot ", 20)) << "the frame-rate counter closes an interval each second";
    std::string title = demo.title();
    // long.wav lasts 150 s: 2 minutes 30 seconds.
    EXPECT_TRUE(std::regex_match(title, std::regex(R"(Scene: 0/6 - Time: 0:\d+/2:30 - FPS: .{1,2})"))) << title;
    demo.key("Escape");
    EXPECT_EQ(demo.wait().status, 0);
}

TEST(RunningDemo, PausedLoopStillDrawsTheTimeBarAndHandlesQuit)
{
    Directory directory;
    directory.schedule("");  // nothing drawn over the bar
    Program demo(directory);
    demo.start();
    ASSERT_TRUE(demo.waitUntilRunning());
    demo.key("space");
    ASSERT_TRUE(demo.waitForLog("Demo: Paused!"));
    EXPECT_EQ(demo.title(), "Paused");

    program::Bitmap shot = program::readBmp(demo.screenshot());
    ASSERT_EQ(shot.width, 800);
    // The base line runs at a tenth of the height from x 0.1 to 0.9 of the width.
    fixture::Rgba onBar = shot.at(400, 600 - 60);
    fixture::Rgba offBar = shot.at(20, 600 - 60);
    EXPECT_GT(onBar.r + onBar.g + onBar.b, 600) << "white base line";
    EXPECT_LT(offBar.r + offBar.g + offBar.b, 100) << "nothing left of the bar";

    demo.key("Escape");
    Result result = demo.wait();
    EXPECT_EQ(result.status, 0) << "quit works while paused";
}

}  // namespace

// The keyboard, the mouse and the window from the outside: real key presses and clicks through
// xdotool on the program's own Xvfb, read back from the log, standard output, the window's
// title and geometry, the screenshots and the exit status.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <dlfcn.h>
#include <regex>
#include <sstream>
#include <thread>

#include "tests/support/fixture.h"
#include "tests/support/program.h"

#include <X11/Xlib.h>  // last: its macros (None, Bool, Status) must not reach the headers above

using fixture::Directory;
using program::Program;
using program::Result;
using testing::HasSubstr;
using testing::Not;

namespace {

using Lines = std::vector<std::string>;

// The texts of the log lines, without their date prefix.
Lines texts(const std::string& log)
{
    Lines found;
    std::istringstream stream(log);
    for (std::string line; std::getline(stream, line);) found.push_back(line.size() > 23 ? line.substr(23) : line);
    return found;
}

Lines startingWith(const Lines& lines, const Lines& prefixes)
{
    Lines found;
    for (const std::string& line : lines)
        for (const std::string& prefix : prefixes)
            if (line.rfind(prefix, 0) == 0) {
                found.push_back(line);
                break;
            }
    return found;
}

// The first of `wanted` that does not begin a line of `lines` in this order, or "" when all do.
std::string missingInOrder(const Lines& lines, const Lines& wanted)
{
    auto at = lines.begin();
    for (const std::string& line : wanted) {
        at = std::find_if(at, lines.end(), [&](const std::string& text) { return text.rfind(line, 0) == 0; });
        if (at == lines.end()) return line;
        ++at;
    }
    return "";
}

template <typename Predicate>
bool eventually(double seconds, Predicate holds)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(static_cast<int>(seconds * 1000));
    while (!holds()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

// Every "Time: m:s:cc" the program printed, in hundredths of a second.
std::vector<int> printedTimes(const std::string& out)
{
    std::vector<int> times;
    const std::regex time(R"(Time: (\d+):(\d+):(\d+)\n)");
    for (std::sregex_iterator it(out.begin(), out.end(), time), end; it != end; ++it)
        times.push_back(std::stoi((*it)[1]) * 6000 + std::stoi((*it)[2]) * 100 + std::stoi((*it)[3]));
    return times;
}

// Presses Return and waits for the time it prints.
int printTime(Program& program)
{
    size_t before = printedTimes(program.out()).size();
    program.key("Return");
    EXPECT_TRUE(eventually(10, [&] { return printedTimes(program.out()).size() > before; }));
    std::vector<int> times = printedTimes(program.out());
    return times.empty() ? -1 : times.back();
}

std::string geometry(Program& program)
{
    std::smatch match;
    std::string reported = program.xdotool("getwindowgeometry " + program.window());
    return std::regex_search(reported, match, std::regex(R"(Geometry: (\d+x\d+))")) ? match[1].str() : reported;
}

// Credits alone, with a picture whose upper quarter is red and second quarter green: at rest
// the scene fills the screen with the picture's upper half, so red above green.
void creditsRedOverGreen(const Directory& directory)
{
    fixture::writeRgbaPng(directory.file("data/textures/credits.png"), 64, 64, [](int, int y) {
        if (y < 16) return fixture::Rgba{255, 0, 0, 255};
        return y < 32 ? fixture::Rgba{0, 255, 0, 255} : fixture::Rgba{0, 0, 255, 255};
    });
    directory.schedule("addSceneToTimeline(\"credits\", 0, 150000)\n");
}

std::string colour(fixture::Rgba c)
{
    return std::to_string(c.r) + "," + std::to_string(c.g) + "," + std::to_string(c.b);
}

// The scene's lighting dims the picture a little, so a colour is told by its one strong channel.
bool looksRed(fixture::Rgba c) { return c.r > 150 && c.g < 60 && c.b < 60; }
bool looksGreen(fixture::Rgba c) { return c.g > 150 && c.r < 60 && c.b < 60; }

// Counts the pixels of rows top..bottom, columns 0..right-1, that fail `looks`.
int offColour(const program::Bitmap& shot, int top, int bottom, int right, bool (*looks)(fixture::Rgba))
{
    int off = 0;
    for (int y = top; y <= bottom; y++)
        for (int x = 0; x < right; x++) off += !looks(shot.at(x, y));
    return off;
}

// Asks the window to close the way a window manager does, with a WM_DELETE_WINDOW message.
// Xlib is loaded at run time so that the test program does not link it.
bool askToClose(const std::string& display, const std::string& window)
{
    void* xlib = dlopen("libX11.so.6", RTLD_NOW);
    if (!xlib) return false;
    auto openDisplay = reinterpret_cast<Display* (*)(const char*)>(dlsym(xlib, "XOpenDisplay"));
    auto internAtom = reinterpret_cast<Atom (*)(Display*, const char*, int)>(dlsym(xlib, "XInternAtom"));
    auto sendEvent = reinterpret_cast<int (*)(Display*, Window, int, long, XEvent*)>(dlsym(xlib, "XSendEvent"));
    auto sync = reinterpret_cast<int (*)(Display*, int)>(dlsym(xlib, "XSync"));
    auto closeDisplay = reinterpret_cast<int (*)(Display*)>(dlsym(xlib, "XCloseDisplay"));
    Display* connection = openDisplay(display.c_str());
    if (!connection) return false;
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = std::stoul(window);
    event.xclient.message_type = internAtom(connection, "WM_PROTOCOLS", 0);
    event.xclient.format = 32;
    event.xclient.data.l[0] = static_cast<long>(internAtom(connection, "WM_DELETE_WINDOW", 0));
    event.xclient.data.l[1] = CurrentTime;
    sendEvent(connection, event.xclient.window, 0, NoEventMask, &event);
    sync(connection, 0);
    closeDisplay(connection);
    return true;
}

TEST(Keyboard, EveryKeyLogsItsOwnTextAndActs)
{
    Directory directory;
    // Debug mode overrides all of this with a centred, resizable 800 x 600 window.
    directory.config({{"WIDTH", "1024"}, {"HEIGHT", "768"}, {"BPP", "32"}, {"FULLSCREEN", "true"}});
    Program program(directory);
    program.start();
    ASSERT_TRUE(program.waitUntilRunning()) << program.err();
    EXPECT_EQ(geometry(program), "800x600");

    // Pause right after a status refresh, so the title keeps "Running" long enough to be read.
    int plots = program::countLines(program.log(), "Plot ");
    ASSERT_TRUE(eventually(10, [&] { return program::countLines(program.log(), "Plot ") > plots; }));
    program.key("space");
    ASSERT_TRUE(program.waitForLog("Demo: Paused!"));
    EXPECT_TRUE(eventually(5, [&] { return program.title() == "Paused"; })) << program.title();
    int first = printTime(program);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));  // time the clock must not move in
    EXPECT_EQ(printTime(program), first) << "paused music is frozen";
    program.key("space");
    ASSERT_TRUE(program.waitForLog("Demo: Running!"));
    EXPECT_TRUE(eventually(0.5, [&] { return program.title() == "Running"; })) << program.title();

    program.key("Return Up Down Left Right Tab s p a a d d b z x n m w h k u j y i 1 2 3 4 5 BackSpace");
    program.keyDown("shift");
    program.key("BackSpace");
    program.keyUp("shift");
    program.keyDown("Shift_R");
    program.keyUp("Shift_R");
    // FULLSCREEN is true in the file, so the first toggle goes to windowed: the flag flips.
    program.key("F1");
    ASSERT_TRUE(program.waitForLog("Window: Toogling windowed...")) << program.log();
    program.key("F1");
    ASSERT_TRUE(program.waitForLog("Window: Toogling fullscreen..."));
    program.key("Escape");
    Result result = program.wait();
    EXPECT_EQ(result.status, 0) << result.err;

    Lines log = texts(program.log());
    const Lines keys = {
        "Input: Key pressed: Space", "Demo: Paused!", "Input: Key pressed: Enter", "Input: Key pressed: Enter",
        "Input: Key pressed: Space", "Demo: Running!", "Input: Key pressed: Enter", "Input: Key pressed: Up",
        "Input: Key pressed: Down", "Input: Key pressed: Left", "Input: Key released: Left", "Key pressed: Right",
        "Input: Key released: Right", "Input: Key pressed: s", "Input: Key pressed: p", "Input: Key pressed: a",
        "Input: Key pressed: a", "Input: Key pressed: d", "Input: Key pressed: d", "Input: Key pressed: b",
        "Input: Key pressed: z", "Input: Key pressed: x", "Input: Key pressed: n", "Input: Key pressed: m",
        "Input: Key pressed: w", "Input: Key pressed: Backspace", "Demo: Restart!", "Input: Key pressed: Left Shift",
        "Input: Key pressed: Backspace", "Demo: Reload!", "Input: Key pressed: Left Shift",
        // xdotool wraps its Right Shift in a Left Shift of its own: the presses and the releases
        // of both keys log the press texts.
        "Input: Key pressed: Left Shift", "Input: Key pressed: Right Shift", "Input: Key pressed: Left Shift",
        "Input: Key pressed: Right Shift", "Input: Key pressed: F1", "Window: Toogling windowed...",
        "Input: Key pressed: F1", "Window: Toogling fullscreen...", "Input: Key pressed: Escape"};
    const Lines reported = {"Input: ",        "Key pressed",    "Demo: Paused",    "Demo: Running",
                            "Demo: Reload!", "Demo: Restart!", "Window: Toogling"};
    EXPECT_EQ(startingWith(log, reported), keys);

    // What the keys did, each after its own key's line.
    const Lines effects = {"Input: Key pressed: Enter",
                           "Time: 0:",
                           "Input: Key pressed: Up",
                           "Scene: Next scene!",
                           "Input: Key pressed: Down",
                           "Input: Key pressed: s",
                           "Input: Key pressed: p",
                           "OpenGL: resize: 800x600",
                           "Camera: resetting viewport 800x600 (4:3)",
                           "Input: Key pressed: a",
                           "OpenGL: turning off antialiasing...",
                           "Input: Key pressed: a",
                           "OpenGL: turning on antialiasing...",
                           "Input: Key pressed: d",
                           "Camera: Disabling depth!",
                           "Input: Key pressed: d",
                           "Camera: Enabling depth!",
                           "Input: Key pressed: n",
                           "Music: Setting volume to: 0.9",
                           "Input: Key pressed: m",
                           "Music: Setting volume to: 1",
                           "Input: Key pressed: Escape",
                           "Logger: Closing..."};
    EXPECT_EQ(missingInOrder(log, effects), "") << program.log();
    EXPECT_EQ(std::count(log.begin(), log.end(), "Music: Setting volume to: 0.9"), 1);
    EXPECT_EQ(std::count(log.begin(), log.end(), "Music: Setting volume to: 1"), 1);
    EXPECT_EQ(program::countLines(program.log(), "OpenGL: Saving screenshot: "), 1);
    EXPECT_THAT(program.log(), Not(HasSubstr("tab"))) << "Tab goes to standard output only";

    EXPECT_EQ(program::countLines(result.out, "Input: Key pressed: tab"), 1);
    EXPECT_THAT(result.out, HasSubstr("Zoom in: \nZoom out: \n"));
    // A tapped camera key moves once: the turn before its own key-up still sees it held.
    std::string moves;
    std::istringstream out(result.out);
    for (std::string line; std::getline(out, line);)
        if (line.rfind("Cam: ", 0) == 0 && line != "Cam: Initializing...") moves += line + "\n";
    EXPECT_EQ(moves,
              "Cam: Moving left 5.5 steps.\nCam: Moving right 5.5 steps.\nCam: Moving forward 5.5 steps.\n"
              "Cam: Moving back 5.5 steps.\nCam: Moving up 5.5 steps.\nCam: Moving down 5.5 steps.\n"
              "Cam: Pitching 5.5\nCam: Pitching -5.5\nCam: Yawing -5.5\nCam: Yawing 5.5\nCam: Rolling 5.5\n");
}

TEST(Window, DebugStartUpLogsTheConfiguredModeYetOpensWindowed)
{
    Directory directory;
    directory.config({{"WIDTH", "1920"}, {"HEIGHT", "1080"}, {"BPP", "16"}, {"FULLSCREEN", "true"},
                      {"MUSIC", "\"short.wav\""}});
    Result result = program::run(directory);
    ASSERT_EQ(result.status, 0) << result.err;
    Lines log = texts(directory.read("demo.log"));
    ASSERT_GE(log.size(), 20u);
    auto startsWith = [](const char* prefix) {
        return [prefix](const std::string& line) { return line.rfind(prefix, 0) == 0; };
    };
    auto at = std::find_if(log.begin(), log.end(), startsWith("Window: "));
    ASSERT_NE(at, log.end());
    EXPECT_TRUE(std::regex_match(*at, std::regex(R"(Window: Initializing SDL \(1\.2\.\d+\))"))) << *at;
    EXPECT_EQ(missingInOrder(log, {"Window: Video driver: x11", "Window: Creating (1920x1080:16)"}), "");
    auto surface = std::find_if(at, log.end(), startsWith("Window: Creating video surface in "));
    ASSERT_NE(surface, log.end());
    EXPECT_EQ(missingInOrder(Lines(surface, log.end()),
                             {"OpenGL: Initializing...", "OpenGL: Vendor: ", "OpenGL: Renderer: ", "OpenGL: Version: ",
                              "OpenGL: RGB size: 8, 8, 8", "OpenGL: Initializing GLEW (", "OpenGL 2.0 is supported!",
                              "OpenGL: turning on antialiasing...",
                              "OpenGL: Turing on depth...", "OpenGL: resize: 800x600",
                              "Camera: resetting viewport 800x600 (4:3)", "Window: Hiding cursor",
                              "Joystick: Initializing the SDL subsystem...", "Demo: Initializing...",
                              "Joystick: Shutting down the SDL subsystem...", "Window: Closing SDL...",
                              "Logger: Closing..."}),
              "");
    EXPECT_EQ(std::count(log.begin(), log.end(), "Window: Going fullscreen!"), 0) << "debug mode stays windowed";
    EXPECT_EQ(startingWith(log, {"OpenGL: Shader version: "}), Lines{}) << "asked before GLEW knows the version";
}

TEST(Keyboard, ShiftLeftSeeksTenSecondsLeftFiveAndScreenshotsAreNamedByThePosition)
{
    Directory directory;
    Program program(directory);
    program.start();
    ASSERT_TRUE(program.waitUntilRunning()) << program.err();
    program.key("space");
    ASSERT_TRUE(program.waitForLog("Demo: Paused!"));
    program.key("Right Right Right");
    int start = printTime(program);
    ASSERT_GE(start, 1500);

    program.keyDown("shift");
    program.key("Left");
    program.keyUp("shift");
    int shifted = printTime(program);
    program.key("Left");
    int plain = printTime(program);
    program.key("Right");
    int forward = printTime(program);
    EXPECT_EQ(start - shifted, 1000) << "Shift+Left seeks back 10000 ms";
    EXPECT_EQ(shifted - plain, 500) << "Left alone seeks back 5000 ms";
    EXPECT_EQ(forward - plain, 500) << "Right seeks forward 5000 ms";

    std::string shot = program.screenshot();
    ASSERT_FALSE(shot.empty());
    std::smatch name;
    std::string file = shot.substr(shot.rfind('/') + 1);
    ASSERT_TRUE(std::regex_match(file, name, std::regex(R"((\d+)\.bmp)"))) << file;
    EXPECT_EQ(std::stoi(name[1]) / 10, forward) << "named by the music position in ms";
    EXPECT_THAT(program.log(), HasSubstr("OpenGL: Saving screenshot: " + file + "\n"));

    program.key("Escape");
    Result result = program.wait();
    EXPECT_EQ(result.status, 0) << result.err;
}

TEST(Screenshot, IsTheConfiguredSizeWithTheTopRowAtTheTop)
{
    Directory directory;
    creditsRedOverGreen(directory);
    // Rows of 646 pixels are 1938 bytes, not a multiple of four.
    directory.config({{"DEBUG", "false"}, {"WIDTH", "646"}, {"HEIGHT", "482"}});
    Program program(directory);
    program.start();
    EXPECT_EQ(geometry(program), "646x482");
    printTime(program);  // a frame has been drawn once a key was answered
    std::string shot = program.screenshot();
    ASSERT_FALSE(shot.empty());
    EXPECT_TRUE(std::regex_match(shot.substr(shot.rfind('/') + 1), std::regex(R"(\d+\.bmp)"))) << shot;

    program::Bitmap picture = program::readBmp(shot);
    ASSERT_EQ(picture.width, 646);
    ASSERT_EQ(picture.height, 482);
    // Linear filtering softens the seam in the middle and the edges, where the picture wraps.
    EXPECT_EQ(offColour(picture, 12, 228, 646, looksRed), 0) << "top " << colour(picture.at(0, 12));
    EXPECT_EQ(offColour(picture, 253, 469, 646, looksGreen), 0) << "bottom " << colour(picture.at(0, 469));

    program.key("Escape");
    Result result = program.wait();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_FALSE(directory.exists("demo.log"));
}

TEST(Window, ResizedWindowKeepsItsTexturesClicksMapOverTheConfiguredSizeAndCloseEnds)
{
    Directory directory;
    creditsRedOverGreen(directory);
    Program program(directory);
    program.start();
    ASSERT_TRUE(program.waitUntilRunning()) << program.err();
    std::string window = program.window();

    // The button must still be down when the program reads the button state.
    auto click = [&](int x, int y, int button, const std::string& line) {
        program.xdotool("mousemove --window " + window + " " + std::to_string(x) + " " + std::to_string(y) +
                        " mousedown " + std::to_string(button));
        EXPECT_TRUE(program.waitForLog(line, 5)) << line;
        program.xdotool("mouseup " + std::to_string(button));
    };
    click(0, 0, 1, "Input: Mouse left button clicked - x: -1 y: 1\n");
    click(400, 300, 1, "Input: Mouse left button clicked - x: 0 y: 0\n");
    click(400, 300, 3, "Input: Mouse right button click - x: 0 y: 0\n");
    click(799, 599, 1, "Input: Mouse left button clicked - x: 0.9975 y: -0.996667\n");

    program.xdotool("windowsize " + window + " 640 480");
    ASSERT_TRUE(program.waitForLog("Camera: resetting viewport 640x480 (4:3)\n"));
    EXPECT_EQ(geometry(program), "640x480");
    Lines log = texts(program.log());
    EXPECT_EQ(missingInOrder(log, {"Events: Window resize: 640x480", "Window: Resize: 640x480",
                                   "OpenGL: resize: 640x480", "Camera: resetting viewport 640x480 (4:3)"}),
              "");

    // The new video mode starts black; a key answered after it means the frame was drawn again.
    printTime(program);
    // Still the configured 800 x 600; the 640 x 480 window is its lower left part.
    std::string shot = program.screenshot();
    ASSERT_FALSE(shot.empty());
    program::Bitmap picture = program::readBmp(shot);
    ASSERT_EQ(picture.width, 800);
    ASSERT_EQ(picture.height, 600);
    EXPECT_EQ(offColour(picture, 132, 348, 640, looksRed), 0) << colour(picture.at(320, 132));
    EXPECT_EQ(offColour(picture, 372, 587, 640, looksGreen), 0) << colour(picture.at(320, 587));

    click(320, 240, 1, "Input: Mouse left button clicked - x: -0.2 y: 0.2\n");
    EXPECT_EQ(program::countLines(program.log(), "Input: Mouse "), 5);

    ASSERT_TRUE(askToClose(program.display().name(), window));
    Result result = program.wait();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(program.log(), HasSubstr("Events: Window closed\n"));
}

TEST(Window, VideoFailuresEndWithTheirMessageAndStatusOne)
{
    Directory directory;
    setenv("SDL_VIDEODRIVER", "none-such", 1);
    Program broken(directory);
    broken.start();
    unsetenv("SDL_VIDEODRIVER");
    Result result = broken.wait();
    EXPECT_EQ(result.status, 1);
    std::smatch reason;
    ASSERT_TRUE(std::regex_search(result.err, reason, std::regex("Couldn't init SDL: (.+)\n"))) << result.err;
    EXPECT_THAT(directory.read("demo.log"), HasSubstr(" - Window: Couldn't init SDL" + reason[1].str() + "\n"));

    Directory tooLarge;
    tooLarge.config({{"DEBUG", "false"}, {"WIDTH", "100000"}, {"HEIGHT", "100000"}});
    result = program::run(tooLarge);
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, testing::MatchesRegex("Couldn't set video mode: .+\n"));
}

}  // namespace

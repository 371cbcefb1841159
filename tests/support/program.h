// Runs the real demo binary as a person would: in a fixture directory, on an Xvfb display of its
// own (Mesa's llvmpipe renders there) with the null sound output, driven by xdotool, observed through its exit status,
// standard output and error, log file and window title. Every wait is bounded.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "framework/process.h"
#include "tests/support/fixture.h"

struct _XDisplay;

namespace program {

// Polls `ready` every 20 ms until it holds or `seconds` have passed; the one wait of the suite
bool waitFor(double seconds, const std::function<bool()>& ready);

struct Ended {
    int status = -1;  // exit status, or -1 when killed by a signal
    int signal = 0;   // the signal that ended it, 0 when it exited
    std::string out, err;
};

class Program {
public:
    explicit Program(const fixture::Directory& directory, std::vector<std::string> arguments = {});
    ~Program();

    std::string binary = DEMO_BINARY;  // another build's demo, for a benchmark that compares them

    // Run as "nobody" when the tests run as root, whom permissions do not stop, the fixture
    // directory handed to that user at start; false when there is no such user
    bool unprivileged();
    // Sets a variable of the program's environment; before start()
    void environment(const std::string& name, const std::string& value);
    void start();
    bool running();
    // Waits for the end within `seconds`; kills the program and reports a signal otherwise
    Ended wait(double seconds = 30);
    void send(int signal);
    // Kills the program's X server, as the end of a session does
    void loseDisplay();

    // Presses Escape and waits for the end
    Ended quit();

    std::string log() const;
    std::string out() const;
    std::string err() const;
    bool waitForLog(const std::string& text, double seconds = 15) const;

    // The program's X server, for a window manager a test starts beside it
    const std::string& display() const { return displayName; }
    // The demo's window, found by process id and given the keyboard focus
    std::string window();
    std::string title();
    // Whether the title comes to hold `text` within `seconds`
    bool waitForTitle(const std::string& text, double seconds = 5);
    // Whether the title comes to be the status line alone, nothing after its frame rate
    bool waitForStatusAlone(double seconds = 5);
    // The colour at the centre of the window as the X server shows it
    fixture::Rgba centre();
    // Whether the centre comes to show one of `shades` (see shade()) within `seconds`: a frame
    // or two after a change the window may still show the one before
    bool shows(const std::string& shades, double seconds = 5);
    void key(const std::string& keys);  // xdotool key names: "space", "shift+Left", "Escape"
    // Runs xdotool with these arguments on the program's display, "%w" standing for the
    // program's window; returns its output
    std::string xdotool(const std::string& arguments);

private:
    const fixture::Directory& directory;
    std::vector<std::string> arguments;
    std::vector<std::pair<std::string, std::string>> variables;
    Process xvfb, process;
    std::string displayName, windowId;
    int user = -1, group = -1;  // who the program runs as; -1: as the tests do
    struct _XDisplay* x = nullptr;  // a connection to the server, opened by centre()
};

// How the fixture's flat pictures show on screen: 'w' white (drawn a little dimmer: a light
// grey), 'r' red, 'g' green, 'b' blue or navy, '?' anything else (the loading screen's pink)
char shade(fixture::Rgba seen);

// The lines of a log without their "YYYY-MM-DD: HH:MM:SS - " prefix. The frame-rate counter's
// "Plot" lines and the focus lines are left out: when they come depends on the machine's speed
// and on the X server.
std::vector<std::string> logLines(const std::string& log);
std::vector<std::string> lines(const std::string& text);

// The music positions of a log's "Plot" lines, in order
std::vector<int> musicPositions(const std::string& log);

// What a shell command writes on standard output
std::string output(const std::string& command);

// How many times `needle` stands in `text`
int occurrences(const std::string& text, const std::string& needle);

}  // namespace program

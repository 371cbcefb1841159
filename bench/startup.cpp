// Start-up time of the whole demo on a copy of a data directory, on a private X server.
//
//   startup <data directory> <runs> [<release folder>]
//
// Three figures, the median of the runs each:
//   to the loop   process start until the log says "Demo: Starting now!" (debug on, 800 x 600):
//                 every global built, every asset loaded, schedule read, scenes initialised;
//                 the first picture is drawn one frame (a 10 ms wait and a swap) later
//   first frame   process start until the first scene is on screen (debug off)
//   -h            process start until `demo -h` has exited (debug off): the same construction
//                 without the log, ending before the scenes are made
// Debug off is windowed at 1280 x 720, whatever the data's settings: this server is 1280 x 1024.
// With a release folder (an unpacked archive of scripts/release.sh), its program on its data/,
// loading the libraries it carries, is timed as well, its runs and the build's in turn (the
// order swapped every run), so that both meet the same load of the machine.
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/measure.h"
#include "framework/clock.h"
#include "tests/support/fixture.h"
#include "tests/support/program.h"

namespace fs = std::filesystem;

namespace {

// Milliseconds from starting the program until `done` holds, polled every millisecond
template <typename Done>
double timeUntil(program::Program& program, Done done)
{
    double start = steadyMs();
    program.start();
    while (!done() && steadyMs() - start < 60000) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return steadyMs() - start;
}

// The window's centre shows a scene: neither the black of a window not drawn yet nor the
// loading bar's magenta to white. True as well once the program has ended, which ends the wait.
bool sceneOnScreen(program::Program& program)
{
    if (!program.running()) return true;
    fixture::Rgba centre = program.centre();
    bool black = centre.r == 0 && centre.g == 0 && centre.b == 0;
    bool bar = centre.r == 255 && centre.b == 255;
    return !black && !bar;
}

// One program on one data directory, and its figures so far
struct Subject {
    std::string name, binary, data;
    std::vector<double> toLoop, toFrame, help;

    Subject(std::string name, std::string binary, std::string data) : name(name), binary(binary), data(data) {}

    void run()
    {
        fixture::Directory debug;
        debug.copyData(data, "DEBUG = true\nAUDIO = \"nosound\"\n");
        program::Program looping(debug);
        looping.binary = binary;
        toLoop.push_back(timeUntil(looping, [&] {
            return debug.read("demo.log").find("Demo: Starting now!") != std::string::npos;
        }));
        looping.key("Escape");
        looping.wait();

        const char* windowed = "DEBUG = false\nAUDIO = \"nosound\"\nFULLSCREEN = false\nWIDTH = 1280\nHEIGHT = 720\n";
        fixture::Directory showing;
        showing.copyData(data, windowed);
        program::Program shown(showing);
        shown.binary = binary;
        toFrame.push_back(timeUntil(shown, [&] { return sceneOnScreen(shown); }));
        shown.key("Escape");
        if (shown.wait().status != 0) throw std::runtime_error(binary + " did not play its first scene");

        fixture::Directory quiet;
        quiet.copyData(data, windowed);
        program::Program helped(quiet, {"-h"});
        helped.binary = binary;
        help.push_back(timeUntil(helped, [&] { return !helped.running(); }));
    }

    void print() const
    {
        printf("start-up of %s, median of %zu runs: %.0f ms to the main loop (debug on), %.0f ms to the first frame "
               "(debug off), %.0f ms for demo -h (debug off)\n",
               name.c_str(), toLoop.size(), measure::median(toLoop), measure::median(toFrame), measure::median(help));
    }
};

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3 && argc != 4) {
        fprintf(stderr, "usage: startup <data directory> <runs> [<release folder>]\n");
        return 1;
    }
    std::vector<Subject> subjects{Subject("the build", DEMO_BINARY, argv[1])};
    if (argc == 4) {
        fs::path release = fs::absolute(argv[3]);
        subjects.emplace_back("the release", (release / "demo").string(), (release / "data").string());
    }
    int runs = std::max(1, atoi(argv[2]));
    try {
        for (int run = 0; run < runs; run++)
            for (size_t i = 0; i < subjects.size(); i++) subjects[run % 2 ? subjects.size() - 1 - i : i].run();
    } catch (const std::exception& error) {
        fprintf(stderr, "startup: %s\n", error.what());
        return 1;
    }
    for (const Subject& subject : subjects) subject.print();
    return 0;
}

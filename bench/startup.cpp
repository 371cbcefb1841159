// Start-up time of the whole demo on a copy of a data directory, on a private X server.
//
//   startup <data directory> <runs>
//
// Two figures, the median of the runs each:
//   to the loop   process start until the log says "Demo: Starting now!" (debug on, 800 x 600):
//                 every global built, every asset loaded, schedule read, scenes initialised;
//                 the first picture is drawn one frame (a 10 ms wait and a swap) later
//   -h            process start until `demo -h` has exited (debug off, the configured size):
//                 the same construction without the log, ending before the scenes are made
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/fixture.h"
#include "tests/support/measure.h"
#include "tests/support/program.h"

namespace fs = std::filesystem;

namespace {

// Milliseconds from starting the program until `done` holds, polled every millisecond
template <typename Done>
double timeUntil(program::Program& program, Done done)
{
    double start = measure::steadyMs();
    program.start();
    while (!done() && measure::steadyMs() - start < 60000) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return measure::steadyMs() - start;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        fprintf(stderr, "usage: startup <data directory> <runs>\n");
        return 1;
    }
    std::string data = argv[1];
    int runs = std::max(1, atoi(argv[2]));
    std::vector<double> toLoop, help;
    try {
        for (int run = 0; run < runs; run++) {
            fixture::Directory debug;
            debug.copyData(data, "DEBUG = true\nAUDIO = \"nosound\"\n");
            program::Program looping(debug);
            toLoop.push_back(timeUntil(looping, [&] {
                return debug.read("demo.log").find("Demo: Starting now!") != std::string::npos;
            }));
            looping.key("Escape");
            looping.wait();

            fixture::Directory quiet;
            quiet.copyData(data, "DEBUG = false\nAUDIO = \"nosound\"\n");
            program::Program helped(quiet, {"-h"});
            help.push_back(timeUntil(helped, [&] { return !helped.running(); }));
        }
    } catch (const std::exception& error) {
        fprintf(stderr, "startup: %s\n", error.what());
        return 1;
    }
    printf("start-up, median of %d runs: %.0f ms to the main loop (debug on), %.0f ms for demo -h (debug off)\n",
           runs, measure::median(toLoop), measure::median(help));
    return 0;
}

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
#include "tests/support/program.h"

namespace fs = std::filesystem;

namespace {

double nowMs()
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// A copy of the data with these lines appended to its settings (later assignments win)
void copyData(const std::string& data, const fixture::Directory& directory, const std::string& settings)
{
    directory.remove("data");
    fs::copy(data, directory.file("data"), fs::copy_options::recursive);
    directory.write("data/config.lua", directory.read("data/config.lua") + "\n" + settings);
}

// Milliseconds from starting the program until `done` holds, polled every millisecond
template <typename Done>
double timeUntil(program::Program& program, Done done)
{
    double start = nowMs();
    program.start();
    while (!done() && nowMs() - start < 60000) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return nowMs() - start;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
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
            copyData(data, debug, "DEBUG = true\nAUDIO = \"nosound\"\n");
            program::Program looping(debug);
            toLoop.push_back(timeUntil(looping, [&] {
                return debug.read("demo.log").find("Demo: Starting now!") != std::string::npos;
            }));
            looping.key("Escape");
            looping.wait();

            fixture::Directory quiet;
            copyData(data, quiet, "DEBUG = false\nAUDIO = \"nosound\"\n");
            program::Program helped(quiet, {"-h"});
            help.push_back(timeUntil(helped, [&] { return !helped.running(); }));
        }
    } catch (const std::exception& error) {
        fprintf(stderr, "startup: %s\n", error.what());
        return 1;
    }
    printf("start-up, median of %d runs: %.0f ms to the main loop (debug on), %.0f ms for demo -h (debug off)\n",
           runs, median(toLoop), median(help));
    return 0;
}

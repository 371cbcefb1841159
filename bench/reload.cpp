// Reload on save, timed from outside on a copy of the data (debug on, null sound), the credits
// scheduled over the whole track:
//
//   reloadtime <data directory> <saves> [demo binary: another build's, to compare]
//
// - Save to screen: credits.png saved at its size in one solid colour (green and blue in turn),
//   written beside it and renamed into place as editors do; the wall time until the centre of
//   the window, read from the X server every millisecond, shows it, and the processor time of
//   the demo's main thread (where the reading and the reload run, while the GL driver's threads
//   do most of the drawing) from the save to the end of the reload, less its idle rate over the
//   half second before. Medians.
// - Memory: the resident size after a 4096 x 4096 picture is renamed once, and 20 times.
// - A schedule that never ends: how long the demo takes to stop it, saved and at start-up.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "bench/clocks.h"
#include "tests/support/fixture.h"
#include "tests/support/program.h"

namespace fs = std::filesystem;
using program::occurrences;

namespace {

const char* const reloaded = "Demo: Reload done.";

double nowMs() { return bench::wallSeconds() * 1000; }

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Milliseconds of processor time of the main thread: after the name in parentheses come the
// state and ten more fields, then the user and system times.
double processorMs(const std::string& pid)
{
    std::ifstream in("/proc/" + pid + "/task/" + pid + "/stat");
    std::string line, field;
    std::getline(in, line);
    std::istringstream fields(line.substr(line.rfind(')') + 1));
    for (int i = 0; i < 11; i++) fields >> field;
    double user = 0, system = 0;
    fields >> user >> system;
    return (user + system) * 1000.0 / sysconf(_SC_CLK_TCK);
}

double residentMb(const std::string& pid)
{
    std::ifstream in("/proc/" + pid + "/status");
    std::string word;
    while (in >> word && word != "VmRSS:") {
    }
    double kb = 0;
    in >> kb;
    return kb / 1024;
}

// Waits up to `seconds` for the log to hold more of `line` than `seen`: the ms it took, or -1.
double untilLogged(program::Program& demo, const std::string& line, int seen, double seconds)
{
    double start = nowMs();
    return program::waitFor(seconds, [&] { return occurrences(demo.log(), line) > seen; }) ? nowMs() - start : -1;
}

std::string stoppedAfter(double ms) { return ms < 0 ? "not stopped within 20 s" : std::to_string(int(ms)) + " ms"; }

void saveToScreen(const fixture::Directory& directory, program::Program& demo, const std::string& pid, int saves)
{
    const fixture::Rgba colours[] = {{40, 230, 40, 255}, {40, 40, 230, 255}};
    std::vector<double> shown, processor;
    for (int i = 0; i < saves; i++) {
        fixture::Rgba colour = colours[i % 2];
        bool green = colour.g > colour.b;
        int done = occurrences(demo.log(), reloaded);
        fixture::writeSolidPng(directory.file("data/textures/.credits.png.new"), 1024, 1152, colour);
        double idleFrom = nowMs(), idleCpu = processorMs(pid);
        std::this_thread::sleep_for(std::chrono::milliseconds(500));  // the previous frames settle
        double start = nowMs(), startCpu = processorMs(pid), idleRate = (startCpu - idleCpu) / (start - idleFrom);
        fs::rename(directory.file("data/textures/.credits.png.new"), directory.file("data/textures/credits.png"));
        double seen = -1, cpu = -1;
        while ((seen < 0 || cpu < 0) && nowMs() - start < 20000) {
            if (cpu < 0 && occurrences(demo.log(), reloaded) > done)
                cpu = processorMs(pid) - startCpu - idleRate * (nowMs() - start);
            // The scene draws the picture a little darker than it is stored.
            fixture::Rgba at = demo.centre();
            int wanted = green ? at.g : at.b, other = green ? at.b : at.g;
            if (seen < 0 && wanted > 100 && wanted > 2 * other && wanted > 2 * at.r) seen = nowMs() - start;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        printf("save %2d: on screen after %5.0f ms, %4.0f ms of processor time\n", i + 1, seen, cpu);
        shown.push_back(seen);
        processor.push_back(cpu);
    }
    printf("save to screen, median of %d saves: %.0f ms; processor time of the reading and the reload: %.0f ms\n",
           saves, median(shown), median(processor));
}

void memoryOverRenames(const fixture::Directory& directory, program::Program& demo, const std::string& pid)
{
    auto big = [&](int n) { return directory.file("data/textures/big" + std::to_string(n) + ".png"); };
    fixture::writeSolidPng(big(0) + ".new", 4096, 4096, {90, 90, 90, 255});
    std::vector<double> resident;
    for (int rename = 0; rename <= 20; rename++) {
        int done = occurrences(demo.log(), reloaded);
        fs::rename(rename == 0 ? big(0) + ".new" : big(rename - 1), big(rename));
        if (untilLogged(demo, reloaded, done, 60) < 0) return (void)printf("memory: rename %d not reloaded\n", rename);
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        resident.push_back(residentMb(pid));
    }
    printf("resident memory with a 4096 x 4096 picture: %.0f MB after 1 rename, %.0f MB after 20\n", resident[1],
           resident[20]);
}

void runaway(const fixture::Directory& directory, program::Program& demo)
{
    int refusals = occurrences(demo.log(), "Watcher: Reload refused");
    directory.schedule("while true do end\n");
    double refused = untilLogged(demo, "Watcher: Reload refused", refusals, 20);
    printf("a schedule that never ends, saved: refused %s after the save\n", stoppedAfter(refused).c_str());

    program::Program started(directory);
    started.binary = demo.binary;
    double start = nowMs();
    started.start();
    program::Result result = started.wait(20);
    printf("a schedule that never ends, at start-up: ended with status %d %s after the start\n", result.status,
           stoppedAfter(result.signal ? -1 : nowMs() - start).c_str());
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        fprintf(stderr, "usage: reloadtime <data directory> <saves> [demo binary]\n");
        return 1;
    }
    fixture::Directory directory;
    directory.remove("data");
    fs::copy(argv[1], directory.file("data"), fs::copy_options::recursive);
    directory.write("data/config.lua", directory.read("data/config.lua") + "\nDEBUG = true\nAUDIO = \"nosound\"\n");
    directory.schedule("addSceneToTimeline(\"credits\", 0, 1000000)\n");

    program::Program demo(directory);
    if (argc > 3) demo.binary = argv[3];
    demo.start();
    if (!demo.waitForLog("Watcher: Reloading on every save in data/", 60) || demo.window().empty()) {
        fprintf(stderr, "reloadtime: the demo did not start\n");
        return 1;
    }
    std::string pid = demo.xdotool("getwindowpid %w");
    saveToScreen(directory, demo, pid, std::max(1, atoi(argv[2])));
    memoryOverRenames(directory, demo, pid);
    runaway(directory, demo);
    return 0;
}

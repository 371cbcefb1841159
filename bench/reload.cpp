// Reload on save and live scene code, timed from outside on a copy of the data (debug on, null
// sound), the credits scheduled over the whole track:
//
//   reloadtime <data directory> <saves> [demo binary: another build's, to compare]
//
// - Save to screen: credits.png saved at its size in one solid colour (green and blue in turn),
//   written beside it and renamed into place as editors do; the wall time until the centre of
//   the window, read from the X server every millisecond, shows it, and the processor time of
//   the demo's main thread (where the reading and the reload run, while the GL driver's threads
//   do most of the drawing) from the save to the end of the reload, less its idle rate over the
//   half second before. Medians.
// - Scene code to screen: the same with a one-line change of scenes/credits.cpp (the picture it
//   binds, a white one and a green one in turn), in a copy of the scene sources
//   built as a module (tests/support/scenemodule.cmake) for the demo to rebuild; split by the
//   demo's log into the quiet period (to "changed, rebuilding"), the build and the swap.
// - Memory: the resident size after a 4096 x 4096 picture is renamed once, and 20 times.
// - A schedule that never ends: how long the demo takes to stop it, saved and at start-up.
#include <algorithm>
#include <cstdio>
#include <functional>
#include <regex>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "bench/measure.h"
#include "framework/clock.h"
#include "tests/support/fixture.h"
#include "tests/support/program.h"

namespace fs = std::filesystem;
using measure::median;
using program::occurrences;

namespace {

const char* const reloaded = "Demo: Reload done.";

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
    double start = steadyMs();
    return program::waitFor(seconds, [&] { return occurrences(demo.log(), line) > seen; }) ? steadyMs() - start : -1;
}

std::string stoppedAfter(double ms) { return ms < 0 ? "not stopped within 20 s" : std::to_string(int(ms)) + " ms"; }

// What one save cost: until the picture was on screen, and the main thread's processor time
struct Timed {
    double shown, processor;
};

// Times `save` until the centre of the window shows `wanted` and the log holds one more `done`.
Timed timeSave(program::Program& demo, const std::string& pid, const std::function<void()>& save,
               const std::function<bool(fixture::Rgba)>& wanted, const std::string& done)
{
    demo.key("Down");  // back to the start of the track, which would end before the saves do
    int before = occurrences(demo.log(), done);
    double idleFrom = steadyMs(), idleCpu = processorMs(pid);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));  // the previous frames settle
    double start = steadyMs(), startCpu = processorMs(pid), idleRate = (startCpu - idleCpu) / (start - idleFrom);
    save();
    Timed timed = {-1, -1};
    while ((timed.shown < 0 || timed.processor < 0) && steadyMs() - start < 60000) {
        if (timed.processor < 0 && occurrences(demo.log(), done) > before)
            timed.processor = processorMs(pid) - startCpu - idleRate * (steadyMs() - start);
        if (timed.shown < 0 && wanted(demo.centre())) timed.shown = steadyMs() - start;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return timed;
}

// One colour channel well ahead of the other two: the scene draws a little darker than stored.
bool shows(fixture::Rgba at, int channel)
{
    int values[] = {at.r, at.g, at.b}, wanted = values[channel];
    return wanted > 100 && wanted > 2 * values[(channel + 1) % 3] && wanted > 2 * values[(channel + 2) % 3];
}

void saveToScreen(const fixture::Directory& directory, program::Program& demo, const std::string& pid, int saves)
{
    const fixture::Rgba colours[] = {{40, 230, 40, 255}, {40, 40, 230, 255}};
    std::vector<double> shown, processor;
    for (int i = 0; i < saves; i++) {
        fixture::writeSolidPng(directory.file("data/textures/.credits.png.new"), 1024, 1152, colours[i % 2]);
        Timed timed = timeSave(
            demo, pid,
            [&] { fs::rename(directory.file("data/textures/.credits.png.new"), directory.file("data/textures/credits.png")); },
            [&](fixture::Rgba at) { return shows(at, i % 2 ? 2 : 1); }, reloaded);
        printf("save %2d: on screen after %5.0f ms, %4.0f ms of processor time\n", i + 1, timed.shown, timed.processor);
        shown.push_back(timed.shown);
        processor.push_back(timed.processor);
    }
    printf("save to screen, median of %d saves: %.0f ms; processor time of the reading and the reload: %.0f ms\n",
           saves, median(shown), median(processor));
}

// The last value the log gives after `prefix` ("Livecode: Built in " 1.23 " s")
double lastLogged(const std::string& log, const std::string& prefix)
{
    size_t at = log.rfind(prefix);
    return at == std::string::npos ? -1 : std::atof(log.c_str() + at + prefix.size());
}

void sceneToScreen(program::Program& demo, const std::string& pid, const std::string& sources, int saves)
{
    const std::string white = "bindTexture(\"credits.png\");", green = "bindTexture(\"greenery.png\");";
    std::vector<double> shown, noticed, built, swapped, handed;
    for (int i = 0; i < saves; i++) {
        std::string text = fixture::readFile(sources + "/credits.cpp");
        bool toGreen = text.find(white) != std::string::npos;
        text.replace(text.find(toGreen ? white : green), (toGreen ? white : green).size(), toGreen ? green : white);
        const std::string rebuilding = "credits.cpp changed, rebuilding";
        int before = occurrences(demo.log(), rebuilding);
        double start = steadyMs(), heard = -1;
        Timed timed = timeSave(
            demo, pid,
            [&] {
                start = steadyMs();
                fixture::writeFile(sources + "/credits.cpp", text);
            },
            [&](fixture::Rgba at) {
                if (heard < 0 && occurrences(demo.log(), rebuilding) > before) heard = steadyMs() - start;
                return toGreen ? shows(at, 1) : at.r > 100 && at.r == at.g && at.g == at.b;
            },
            "Demo: Swapped in the rebuilt scenes");
        std::string log = demo.log();
        shown.push_back(timed.shown);
        noticed.push_back(heard);
        built.push_back(1000 * lastLogged(log, "Livecode: Built in "));
        swapped.push_back(lastLogged(log, ", in "));
        handed.push_back(lastLogged(log, "values taken over in "));
        printf("scene save %2d: on screen after %5.0f ms (noticed %4.0f, built in %5.0f, swapped in %5.2f ms, values %.3f ms)\n",
               i + 1, shown.back(), heard, built.back(), swapped.back(), handed.back());
    }
    printf("scene code to screen, median of %d saves: %.0f ms (quiet period %.0f, build %.0f, swap %.2f ms, of which "
           "the values %.3f ms)\n",
           saves, median(shown), median(noticed), median(built), median(swapped), median(handed));
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
    double start = steadyMs();
    started.start();
    program::Ended result = started.wait(20);
    printf("a schedule that never ends, at start-up: ended with status %d %s after the start\n", result.status,
           stoppedAfter(result.signal ? -1 : steadyMs() - start).c_str());
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        fprintf(stderr, "usage: reloadtime <data directory> <saves> [demo binary]\n");
        return 1;
    }
    fixture::Directory directory;
    directory.copyData(argv[1], "DEBUG = true\nAUDIO = \"nosound\"\n");
    directory.schedule("addSceneToTimeline(\"credits\", 0, 1000000)\n");
    // What the scene saves bind in turn, the credits made white
    fixture::writeSolidPng(directory.file("data/textures/greenery.png"), 64, 64, {40, 230, 40, 255});
    // The demo's own copy of the scene sources, built as a module once before it starts
    std::string module = directory.file("module");
    if (std::system(("cmake -DSOURCES=" SCENES_DIR " -DENGINE=" ENGINE_DIR " -DWORK=" + module + " -P " MODULE_SCRIPT)
                        .c_str()) != 0) {
        fprintf(stderr, "reloadtime: the scene module did not build\n");
        return 1;
    }

    program::Program demo(directory);
    if (argc > 3) demo.binary = argv[3];
    demo.environment("DEMO_SCENES", module + "/scenes");
    demo.environment("DEMO_SCENES_BUILD", module + "/build");
    demo.start();
    if (!demo.waitForLog("Watcher: Reloading on every save in data/", 60) || demo.window().empty()) {
        fprintf(stderr, "reloadtime: the demo did not start\n");
        return 1;
    }
    std::string pid = demo.xdotool("getwindowpid %w");
    saveToScreen(directory, demo, pid, std::max(1, atoi(argv[2])));
    int done = occurrences(demo.log(), reloaded);
    fixture::writeSolidPng(directory.file("data/textures/credits.png"), 1024, 1152, {255, 255, 255, 255});
    untilLogged(demo, reloaded, done, 20);
    sceneToScreen(demo, pid, module + "/scenes", std::max(1, atoi(argv[2])));
    memoryOverRenames(directory, demo, pid);
    runaway(directory, demo);
    return 0;
}

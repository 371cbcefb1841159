// Save to screen: how long after a picture is saved into data/ the running demo shows it.
//
//   reloadtime <data directory> <saves>
//
// The demo runs on a copy of the data (debug on, null sound) with the credits scheduled over
// the whole track. Each save writes credits.png, at its real size, in one solid colour to a
// temporary file and renames it into place, as editors do; green and blue alternate, so every
// save changes the picture (the real one is warm and light). The clock starts just before the
// rename and stops when the centre pixel of the demo's window, read from the X server every
// millisecond, has the new colour. The log's lines split each save into: the quiet period and
// the frame that notices it (to "changed"), the check of every file (to "Demo: Reload!"), the
// reload (to "Reload done"), and the frames until the picture is on screen. Medians are printed.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
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

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// True when `seen` shows `colour`, green or blue: that channel well ahead of the other two
// (the scene draws the picture a little darker than it is stored).
bool showing(const fixture::Rgba& seen, const fixture::Rgba& colour)
{
    int wanted = colour.g > colour.b ? seen.g : seen.b, other = colour.g > colour.b ? seen.b : seen.g;
    return wanted > 100 && wanted > 2 * other && wanted > 2 * seen.r;
}

struct Save {
    double noticed, checked, reloaded, shown;  // milliseconds after the rename
};

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        fprintf(stderr, "usage: reloadtime <data directory> <saves>\n");
        return 1;
    }
    int saves = std::max(1, atoi(argv[2]));
    fixture::Directory directory;
    directory.remove("data");
    fs::copy(argv[1], directory.file("data"), fs::copy_options::recursive);
    directory.write("data/config.lua", directory.read("data/config.lua") + "\nDEBUG = true\nAUDIO = \"nosound\"\n");
    directory.schedule("addSceneToTimeline(\"credits\", 0, 1000000)\n");

    program::Program demo(directory);
    demo.start();
    if (!demo.waitForLog("Watcher: Reloading on every save in data/", 60) || demo.window().empty()) {
        fprintf(stderr, "reloadtime: the demo did not start\n");
        return 1;
    }

    const fixture::Rgba colours[] = {{40, 230, 40, 255}, {40, 40, 230, 255}};
    std::vector<Save> measured;
    for (int i = 0; i < saves; i++) {
        const fixture::Rgba& colour = colours[i % 2];
        std::string temporary = directory.file("data/textures/.credits.png.new");
        fixture::writeSolidPng(temporary, 1024, 1152, colour);
        size_t seen = demo.log().size();
        std::this_thread::sleep_for(std::chrono::milliseconds(500));  // the previous frames settle

        Save save = {-1, -1, -1, -1};
        double start = nowMs();
        fs::rename(temporary, directory.file("data/textures/credits.png"));
        // Until this save's reload is over too, so that the next save starts from a quiet demo.
        while ((save.shown < 0 || save.reloaded < 0) && nowMs() - start < 20000) {
            std::string log = demo.log().substr(seen);
            double now = nowMs() - start;
            if (save.noticed < 0 && log.find("Watcher: ") != std::string::npos) save.noticed = now;
            if (save.checked < 0 && log.find("Demo: Reload!") != std::string::npos) save.checked = now;
            if (save.reloaded < 0 && log.find("Demo: Reload done.") != std::string::npos) save.reloaded = now;
            if (save.shown < 0 && showing(demo.centre(), colour)) save.shown = now;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        if (save.shown < 0 || save.reloaded < 0) {
            fprintf(stderr, "reloadtime: save %d never reached the screen\n", i + 1);
            return 1;
        }
        measured.push_back(save);
        printf("save %2d: noticed %4.0f, checked %4.0f, reloaded %4.0f, on screen %4.0f ms\n", i + 1, save.noticed,
               save.checked, save.reloaded, save.shown);
    }
    demo.key("Escape");
    demo.wait();

    auto column = [&](double Save::*field) {
        std::vector<double> values;
        for (const Save& save : measured) values.push_back(save.*field);
        return median(values);
    };
    printf("save to screen, median of %d saves: %.0f ms (noticed after %.0f, check done %.0f, reload done %.0f)\n",
           saves, column(&Save::shown), column(&Save::noticed), column(&Save::checked), column(&Save::reloaded));
    return 0;
}

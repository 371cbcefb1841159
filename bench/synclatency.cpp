// From a key the sync editor sends to the first picture that shows it: the demo with the track
// scene (tests/support/withtrackscene.cpp, whose red is the track's value) rehearsing on a copy
// of the test fixture (debug on, null sound, 800 x 600), a stand-in editor connected to it. Each
// sample changes the key at row 0 between two values and times, on the steady clock, from the
// send to the first read of the window's centre from the X server (a one-pixel screenshot, read
// again as soon as the last one came back) that shows the new red. Paused, the demo draws the
// still picture again; playing, the next frame draws it.
//
//   synclatency [samples]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/measure.h"
#include "framework/clock.h"
#include "tests/support/editor.h"
#include "tests/support/fixture.h"
#include "tests/support/program.h"

namespace {

// A SET_KEY of track 0 at row 0, stepping, with a value of 0.25 or 0.75
std::string keyOf(bool high) { return bytes({0, 0, 0, 0, 0, 0, 0, 0, 0, 0x3E + high, high ? 0x40 : 0x80, 0, 0, 0}); }

// Milliseconds from each send to the first screenshot showing it, `samples` times
std::vector<double> keysToScreen(StandInEditor& editor, program::Program& demo, int samples)
{
    std::vector<double> times;
    for (int i = 0; i < samples; i++) {
        bool high = i % 2 == 0;
        int red = high ? 191 : 64;
        double sent = steadyMs();
        editor.send(keyOf(high));
        while (std::abs(demo.centre().r - red) > 1 && steadyMs() - sent < 5000) {
        }
        times.push_back(steadyMs() - sent);
    }
    return times;
}

void print(const char* what, std::vector<double> times)
{
    std::sort(times.begin(), times.end());
    std::printf("%-8s key to screen: median %.1f ms, p90 %.1f ms, worst %.1f ms (%zu keys)\n", what,
                measure::median(times), times[times.size() * 9 / 10], times.back(), times.size());
}

}  // namespace

int main(int argc, char** argv)
{
    int samples = argc > 1 ? std::atoi(argv[1]) : 20;
    fixture::Directory directory;
    StandInEditor editor;
    directory.schedule("addSceneToTimeline(\"tracks\", 0, 150000)\n");
    directory.config({{"SYNC_EDITOR", "\"" + editor.address() + "\""}});
    program::Program demo(directory);
    demo.binary = TRACKS_DEMO;
    demo.start();
    if (!editor.accept(20) || editor.receive(19) != "hello, synctracker!") {
        std::fprintf(stderr, "synclatency: the demo did not reach the editor\n");
        return 1;
    }
    editor.send("hello, demo!");
    editor.receive(19);  // its GET_TRACK
    demo.window();       // found once, before the timing
    print("playing", keysToScreen(editor, demo, samples));
    editor.send(bytes({4, 1}));
    print("paused", keysToScreen(editor, demo, samples));
    demo.key("Escape");
    return demo.wait().status;
}

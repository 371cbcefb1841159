// The heard-position player: the engine's audio and music (set up from data/config.lua in the
// working directory) at 60 frames a second, one Audio::update and one getPosition a frame, as the
// director drives them. It logs "frame <steady ms before> <after> <position>" and "event <step>
// <steady ms>" for heard.cpp.   heardplayer LOG STEP...   start, play:MS, seek:MS, pause, resume
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "framework/audio.h"
#include "framework/clock.h"
#include "framework/music.h"

namespace {

const double FRAME_MS = 1000.0 / 60;

FILE* out;
double next;  // steady ms of the next frame

// Frames for `ms` on a steady grid, so that one that comes late does not move those after it
void play(int ms)
{
    next = std::max(next, steadyMs());
    for (double end = next + ms; next < end; next += FRAME_MS) {
        std::this_thread::sleep_until(std::chrono::steady_clock::time_point(
            std::chrono::microseconds(static_cast<long long>(next * 1000))));
        audio.update();
        double before = steadyMs();
        int position = music.getPosition();
        std::fprintf(out, "frame %.3f %.3f %d\n", before, steadyMs(), position);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    out = argc > 1 ? std::fopen(argv[1], "w") : nullptr;
    if (!out) {
        std::fprintf(stderr, "usage: heardplayer LOG STEP...\n");
        return 1;
    }
    for (int i = 2; i < argc; i++) {
        std::string step = argv[i], name = step.substr(0, step.find(':'));
        int ms = name.size() < step.size() ? std::atoi(step.c_str() + name.size() + 1) : 0;
        if (name == "play") {
            play(ms);
            continue;
        }
        std::fprintf(out, "event %s %.3f\n", name.c_str(), steadyMs());
        if (name == "start") music.start();
        if (name == "seek") music.setPosition(static_cast<unsigned int>(ms));
        if (name == "pause" || name == "resume") music.setPause(name == "pause");
    }
    return std::fclose(out) == 0 ? 0 : 1;
}

// The music clock against what is heard: the engine's audio and music (tests/support/heardplayer)
// on a private PulseAudio server, through OpenAL's "esd" output (PulseAudio itself) and its
// "alsa" output (ALSA's pulse plugin into the same server). The sink's output is recorded and
// the heard position found in it (tests/support/heard.h says how the recording is tied to the
// steady clock). Every frame counts from the first one after its event: after a seek the old
// part is still heard for the output's latency, and after a stall the sound comes back
// wherever the server has it.
//
// For each event: frames, median, 95th percentile and worst |error| in ms, and when the clock
// came back within 2 ms for good (ms after the event). Run from a directory with a data/ tree
// (scripts/bench.sh uses the test fixture) and a display.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/support/heard.h"

namespace {

struct Scenario {
    const char* name;
    int fps, busyMs;
    const char* steps;
};

const Scenario SCENARIOS[] = {
    {"clean play, 60 fps", 60, 0,
     "settle start play:2500 seek:20000 play:2500 pause play:700 resume play:2500 seek:7000 play:2500"},
    {"a 200 ms stall, 60 fps", 60, 0, "settle start play:2500 stall:200 play:3000 stall:200 play:3000"},
    {"15 fps, drawing 0 to 40 ms a frame", 15, 40, "settle start play:3000 seek:20000 play:3000 stall:200 play:3000"},
    {"250 ms frames", 4, 0, "settle start play:5000 seek:20000 play:5000"},
};

double quantile(std::vector<double> values, double q)
{
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, static_cast<size_t>(q * values.size()))];
}

void report(const heard::Run& run, const heard::Heard& heard, const std::string& kind)
{
    std::vector<heard::Error> errors = heard::errorsAfter(run, heard, kind, 0);
    if (errors.empty()) return;
    std::vector<double> ms;
    double back = 0;
    for (const heard::Error& error : errors) {
        ms.push_back(error.ms);
        if (error.ms > 2) back = std::max(back, error.age);
    }
    std::printf("    after %-7s %4zu frames  median %6.2f  p95 %8.2f  worst %8.2f  within 2 ms from %4.0f ms\n",
                kind.c_str(), ms.size(), quantile(ms, 0.5), quantile(ms, 0.95), quantile(ms, 1), back);
}

}  // namespace

int main()
{
    for (const char* output : {"esd", "alsa"}) {
        for (const Scenario& scenario : SCENARIOS) {
            heard::Server server;
            if (!server.started()) {
                std::printf("PulseAudio did not start\n");
                return 1;
            }
            fixture::Directory directory;
            heard::writeTrack(directory.file("data/audio/noise.wav"));
            directory.config({{"AUDIO", std::string("\"") + output + "\""}, {"MUSIC", "\"noise.wav\""}, {"DEBUG", "false"}});
            heard::Recording recording(server);
            heard::Run run = heard::play(directory, server.environment(), scenario.fps, scenario.busyMs, scenario.steps);
            recording.stop();
            heard::Heard heard(recording, heard::track());
            std::printf("%s output, %s\n", output, scenario.name);
            for (const char* kind : {"start", "seek", "resume", "stall"}) report(run, heard, kind);
        }
    }
    return 0;
}

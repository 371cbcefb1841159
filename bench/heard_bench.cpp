// The music clock against what is heard (tests/support/heard.h says how): the engine's audio and
// music on a private PulseAudio server, through OpenAL's "esd" output (PulseAudio itself) and its
// "alsa" output (ALSA's pulse plugin into the same server), three runs each of 20 s from the
// start, a pause of 2 s and 3 s from the resume, at 60 frames a second.
//
// For the start and the resume: frames heard, median, 95th percentile and worst |error| in ms,
// and the last moment (ms after the event) the clock was more than 2 ms away. Every frame counts
// from its event on; those before the sound is heard are silence and leave themselves out. For
// the pause: ms of the track heard past the frozen picture. Run from a directory with a data/
// tree (scripts/bench.sh uses the test fixture) and a display.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/support/heard.h"

namespace {

double quantile(std::vector<double> values, double q)
{
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, static_cast<size_t>(q * values.size()))];
}

void report(const heard::Listening& listening, const char* kind)
{
    std::vector<double> ms;
    double last = -1;
    for (const heard::Error& error : listening.errorsAfter(kind, 0)) {
        ms.push_back(error.ms);
        if (error.ms > 2) last = std::max(last, error.age);
    }
    if (ms.empty()) {
        std::printf("  %-6s nothing heard\n", kind);
        return;
    }
    std::printf("  %-6s %5zu frames  median %5.2f  p95 %5.2f  worst %6.2f  ", kind, ms.size(), quantile(ms, 0.5),
                quantile(ms, 0.95), quantile(ms, 1));
    if (last < 0) std::printf("never beyond 2 ms\n");
    else std::printf("last beyond 2 ms at %.0f ms\n", last);
}

}  // namespace

int main()
{
    for (const char* output : {"esd", "alsa"}) {
        for (int run = 1; run <= 3; run++) {
            heard::Listening listening(output, "start play:20000 pause play:2000 resume play:3000");
            std::printf("%s output, run %d%s\n", output, run, listening.status == 0 ? "" : ": the player failed");
            if (listening.status != 0) std::printf("%s", listening.errors.c_str());
            report(listening, "start");
            for (double overrun : listening.overruns()) std::printf("  pause  %.1f ms of sound past the frozen picture\n", overrun);
            report(listening, "resume");
        }
    }
    return 0;
}

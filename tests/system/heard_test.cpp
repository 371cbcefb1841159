// The music clock against what a private PulseAudio server ("esd" output) plays, from the first
// moments through a seek, a pause and a resume. ALSA's pulse plugin: bench/heard_bench.cpp.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/heard.h"

TEST(HeardPosition, FromTheStartThroughASeekAndAPauseTheClockIsWhatPulseAudioPlays)
{
    heard::Listening listening("esd", "start play:2000 seek:20000 play:1000 pause play:1000 resume play:1500");
    ASSERT_EQ(listening.status, 0) << listening.errors;

    // From a tenth of a second after each on, within 2 ms of the sound. The server's own reports
    // of its latency, which the clock rests on, step by a millisecond or so at its timing
    // updates, more on a busy machine: 95 in 100 frames within 2 ms, and none off by a frame.
    for (const char* kind : {"start", "seek", "resume"}) {
        std::vector<double> ms;
        for (const heard::Error& error : listening.errorsAfter(kind, 100)) ms.push_back(error.ms);
        ASSERT_GE(ms.size(), 40u) << "frames heard after " << kind;
        std::sort(ms.begin(), ms.end());
        EXPECT_LE(ms[ms.size() * 95 / 100], 2.0) << kind;
        EXPECT_LE(ms.back(), 1000 / 60.0) << kind;
    }
    // The sound stops with the picture, within a frame
    std::vector<double> overruns = listening.overruns();
    ASSERT_EQ(overruns.size(), 1u);
    EXPECT_LE(overruns[0], 1000 / 60.0) << "ms of sound heard after the picture froze";
}

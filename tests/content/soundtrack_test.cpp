// The generated soundtrack, decoded as the demo decodes it: its format, its mastering as ffmpeg's
// EBU R128 meter reads it, and its hits against the schedule.
#include "content_support.h"
#include "tests/support/program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

using content::level, content::soundtrack;

TEST(Soundtrack, IsStereoAt44100HzFor140SecondsWithNoDcOffsetOverallOrInAnyTenSeconds)
{
    const content::Track& track = soundtrack();
    ASSERT_EQ(track.rate, 44100) << "data/audio/soundtrack.ogg cannot be decoded";
    EXPECT_EQ(track.channels, 2);
    EXPECT_NEAR(track.frames() / 44100.0, 140.0, 1.0);
    const auto offset = [&](double from, double to, int channel) {
        double sum = 0;
        for (size_t i = size_t(from * track.rate); i < std::min(track.frames(), size_t(to * track.rate)); ++i)
            sum += track.samples[i * track.channels + channel];
        return std::fabs(sum / ((to - from) * track.rate));
    };
    for (int c = 0; c < track.channels; ++c) {
        EXPECT_LT(offset(0, 140, c), 0.002) << "channel " << c;
        for (double from = 0; from < 130; from += 10) EXPECT_LT(offset(from, from + 10, c), 0.002) << "channel " << c << " at " << from << " s";
    }
}

TEST(Soundtrack, IsMasteredToMinus14LufsWithTruePeakUnderMinus1Dbtp)
{
    // The summary of ffmpeg's EBU R128 meter: integrated loudness, then true peak.
    const std::string summary = program::output(
        "ffmpeg -nostats -hide_banner -i data/audio/soundtrack.ogg -af ebur128=peak=true -f null - 2>&1 | "
        "sed -n 's/^ *I: *\\(.*\\) LUFS$/\\1/p; s/^ *Peak: *\\(.*\\) dBFS$/\\1/p'");
    double loudness = NAN, peak = NAN;
    const int readings = std::sscanf(summary.c_str(), "%lf %lf", &loudness, &peak);
    ASSERT_EQ(readings, 2) << "no readings from ffmpeg";
    std::printf("integrated %.1f LUFS, true peak %.1f dBTP\n", loudness, peak);
    EXPECT_NEAR(loudness, -14.0, 1.0);
    EXPECT_LE(peak, -1.0);
}

TEST(Soundtrack, HitsLandWithin10MsOfTheScheduleMarks)
{
    // Cards at 10, 24, 38 s; blade blows at 62, 66, 70 s; the head's thud 0.8 s after each. A hit
    // is the sharpest rise near its mark: the 10 ms after a moment against the 50 ms before it.
    ASSERT_GT(soundtrack().rate, 0);
    for (double mark : {10.0, 24.0, 38.0, 62.0, 66.0, 70.0, 62.8, 66.8, 70.8}) {
        double onset = 0, rise = -1e9;
        for (double t = mark - 0.25; t <= mark + 0.25; t += 0.0005)
            if (level(t, t + 0.010) - level(t - 0.050, t) > rise) onset = t, rise = level(t, t + 0.010) - level(t - 0.050, t);
        EXPECT_NEAR(onset, mark, 0.010);
        EXPECT_GT(rise, 9.0) << "the hit at " << mark << " s hardly stands out";
    }
}

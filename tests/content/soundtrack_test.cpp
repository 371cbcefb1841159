// The generated soundtrack, decoded as the demo decodes it, checked against the schedule.
#include "content_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

using content::decibels;

namespace {

const char* const trackFile = "data/audio/soundtrack.ogg";

// Decoded once for all checks: decoding the whole track takes about a second.
const content::Track& track()
{
    static const content::Track decoded = content::readTrack(trackFile);
    return decoded;
}

const content::Energy& energy()
{
    static const content::Energy measured(track());
    return measured;
}

struct Section {
    const char* name;
    double from, to;
};

const Section sections[] = {{"intro", 0, 44}, {"ride", 44, 60}, {"guillotine", 60, 74},
                            {"district", 74, 122}, {"outro", 122, 130}, {"fade", 130, 140}};

// Largest absolute sample value in [from, to) seconds.
double peak(double from, double to)
{
    const content::Track& t = track();
    const size_t a = size_t(from * t.rate) * t.channels;
    const size_t b = std::min(t.samples.size(), size_t(to * t.rate) * t.channels);
    double highest = 0;
    for (size_t i = a; i < b; ++i) highest = std::max(highest, double(std::fabs(t.samples[i])));
    return highest;
}

}  // namespace

TEST(Soundtrack, IsStereoAt44100HzAndAbout140SecondsLong)
{
    ASSERT_NE(track().rate, 0) << trackFile << " cannot be decoded";
    EXPECT_EQ(track().rate, 44100);
    EXPECT_EQ(track().channels, 2);
    EXPECT_NEAR(track().seconds(), 140.0, 1.0);
}

TEST(Soundtrack, AccentsLandOnTheScheduleMarks)
{
    // Cards at 10, 24, 38 s; blade blows at 62, 66, 70 s; the head's thud 0.8 s after each.
    ASSERT_NE(track().rate, 0);
    for (double mark : {10.0, 24.0, 38.0, 62.0, 66.0, 70.0, 62.8, 66.8, 70.8}) {
        SCOPED_TRACE(mark);
        const content::Onset onset = content::strongestOnset(energy(), mark, 0.25);
        EXPECT_NEAR(onset.time, mark, 0.020);
        EXPECT_GT(onset.rise, 9.0) << "the accent hardly stands out";
        std::printf("accent %5.1f s: onset %+5.1f ms, rise %4.1f dB\n", mark, (onset.time - mark) * 1000, onset.rise);
    }
}

TEST(Soundtrack, NeverClips)
{
    ASSERT_NE(track().rate, 0);
    EXPECT_LT(peak(0, track().seconds()), 0.99);
}

TEST(Soundtrack, PlaysWithoutGapsUntilItFadesOut)
{
    ASSERT_NE(track().rate, 0);
    for (double t = 0; t + 1 <= 130; t += 0.25) {
        const double level = decibels(energy().meanSquare(t, t + 1));
        ASSERT_GT(level, -45.0) << "near-silence in the second from " << t << " s";
    }
    EXPECT_LT(decibels(energy().meanSquare(139.5, 140)), -70.0) << "the fade does not reach silence";
}

TEST(Soundtrack, SectionLevelsSitInAListenableRange)
{
    ASSERT_NE(track().rate, 0);
    std::printf("%-11s %8s %8s\n", "section", "RMS dB", "peak dB");
    for (const Section& section : sections) {
        const double rms = decibels(energy().meanSquare(section.from, section.to));
        const double top = 20 * std::log10(peak(section.from, section.to));
        std::printf("%-11s %8.1f %8.1f\n", section.name, rms, top);
        if (section.to <= 130) {
            EXPECT_GT(rms, -30.0) << section.name;
            EXPECT_LT(rms, -8.0) << section.name;
        }
    }
    // The main theme is the loudest part, the outro quieter than it.
    const double district = energy().meanSquare(74, 122);
    EXPECT_GT(district, energy().meanSquare(0, 44));
    EXPECT_GT(district, energy().meanSquare(122, 130));
}

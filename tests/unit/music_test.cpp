// The music clock in process: the program's own `music` playing the fixture's 150 s track
// (22.05 kHz mono, a 220 Hz + 330 Hz chord) on the null output, pumped by `audio.update()`
// as the frame loop does, and read through `music`, `timer` and `fps`.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "framework/audio.h"
#include "framework/fps.h"
#include "framework/logger.h"
#include "framework/music.h"
#include "framework/timer.h"
#include "tests/support/fixture.h"
#include "tests/support/inprocess.h"

using testing::HasSubstr;

namespace {

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// Lets the track play for `ms`, the stream pumped once per frame of `frameMs`
void play(int ms, int frameMs = 10)
{
    Clock::time_point start = Clock::now();
    while (msSince(start) < ms) {
        std::this_thread::sleep_for(std::chrono::milliseconds(frameMs));
        audio.update();
    }
}

// One clock reading and the wall time it was taken at
struct Sample {
    double wall;
    int position;
};

// Reads the clock every 5 ms for `ms`, pumping the stream every `frameMs` (never when 0)
std::vector<Sample> watch(int ms, int frameMs)
{
    std::vector<Sample> samples;
    Clock::time_point start = Clock::now(), frame = start;
    while (msSince(start) < ms) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        if (frameMs && msSince(frame) >= frameMs) {
            audio.update();
            frame = Clock::now();
        }
        samples.push_back({ msSince(start), music.getPosition() });
    }
    return samples;
}

int backwardSteps(const std::vector<Sample>& samples)
{
    int count = 0;
    for (size_t i = 1; i < samples.size(); i++) count += samples[i].position < samples[i - 1].position;
    return count;
}

// How much further the clock went than wall time over the samples
double gain(const std::vector<Sample>& samples)
{
    return (samples.back().position - samples.front().position) - (samples.back().wall - samples.front().wall);
}

class PlayingMusic : public testing::Test {
protected:
    void SetUp() override
    {
        music.start();
    }

    void TearDown() override { music.stop(); }

    std::string log() { return capture.text(); }

    fixture::LogCapture capture;
};

}  // namespace

TEST_F(PlayingMusic, SeekReadsBackExactlyWhetherPlayingOrPaused)
{
    music.setPosition(12345);
    EXPECT_EQ(music.getPosition(), 12345);
    play(300);
    int later = music.getPosition();
    EXPECT_GE(later, 12345 + 150) << "playing on from the target, less the output's latency";
    EXPECT_LE(later, 12345 + 350);

    music.setPause(true);
    music.setPosition(70001);
    EXPECT_EQ(music.getPosition(), 70001);
    music.setPosition(150000);
    EXPECT_EQ(music.getPosition(), 70001) << "a position past the track is refused, not clamped";
}

TEST_F(PlayingMusic, RelativeSeekLandsOnZeroBeforeTheStartAndIsIgnoredAtTheEnd)
{
    music.setPause(true);
    music.setPosition(3000);
    music.changePosition(-5000);
    EXPECT_EQ(music.getPosition(), 0);

    music.setPosition(147000);
    music.changePosition(5000);
    EXPECT_EQ(music.getPosition(), 147000) << "past the end: ignored entirely";
    music.changePosition(3000);
    EXPECT_EQ(music.getPosition(), 147000) << "exactly at the end: ignored too";
    EXPECT_EQ(music.length, 150000u) << "the length is cached on the way";
    music.changePosition(2999);
    EXPECT_EQ(music.getPosition(), 149999);

    music.setPosition(140000);
    music.setPause(false);
    play(200);
    music.changePosition(20000);
    int position = music.getPosition();
    EXPECT_GE(position, 140000 + 100) << "an ignored seek leaves the track playing where it was";
    EXPECT_LE(position, 140000 + 300);
}

TEST_F(PlayingMusic, PauseFreezesTheClockAndResumeGoesOnFromTheSameValue)
{
    music.setPosition(40000);
    play(300);
    music.setPause(true);
    int frozen = music.getPosition();
    for (const Sample& sample : watch(300, 10)) ASSERT_EQ(sample.position, frozen) << "at " << sample.wall << " ms";

    music.setPause(false);
    EXPECT_EQ(music.getPosition(), frozen) << "resuming does not move the clock by itself";
    play(400);
    EXPECT_GE(music.getPosition(), frozen + 250);
    EXPECT_LE(music.getPosition(), frozen + 450);
}

TEST_F(PlayingMusic, ClockRunsWithWallTimeAndNeverBackwards)
{
    music.setPosition(20000);
    play(300);
    std::vector<Sample> samples = watch(1500, 10);
    EXPECT_EQ(backwardSteps(samples), 0);
    EXPECT_NEAR(gain(samples), 0.0, 40.0);
    for (size_t i = 1; i < samples.size(); i++) {
        double wall = samples[i].wall - samples[i - 1].wall;
        int step = samples[i].position - samples[i - 1].position;
        ASSERT_LE(step, wall + 5) << "a jump forward at " << samples[i].wall << " ms";
    }
}

TEST_F(PlayingMusic, FramesAsSlowAsTwoAndAHalfPerSecondDoNotStallTheTrack)
{
    music.setPosition(50000);
    play(300);
    std::vector<Sample> samples = watch(3200, 400);
    EXPECT_EQ(backwardSteps(samples), 0);
    EXPECT_NEAR(gain(samples), 0.0, 50.0) << "the queue ran dry between frames";
}

TEST_F(PlayingMusic, DryQueueHoldsTheClockWhereTheSoundStoppedAndPlaysOnFromThere)
{
    music.setPosition(30000);
    std::vector<Sample> starved = watch(1600, 0);
    int stall = starved.back().position;
    EXPECT_GE(stall, 30000 + 800);
    EXPECT_LE(stall, 31000) << "no more than the queued second can have been heard";
    EXPECT_EQ(starved[starved.size() - 20].position, stall) << "the clock stands while nothing plays";

    std::vector<Sample> recovered = watch(600, 10);
    EXPECT_EQ(backwardSteps(recovered), 0);
    EXPECT_GE(recovered.front().position, stall);
    EXPECT_GE(recovered.back().position, stall + 400) << "the stream refilled and played on";
}

TEST_F(PlayingMusic, StopOnlyPausesAndStartPlaysAnewOnAFreshChannel)
{
    music.setPosition(5000);
    music.stop();
    int stopped = music.getPosition();
    play(200);
    EXPECT_EQ(music.getPosition(), stopped);
    EXPECT_TRUE(music.checkPlaying());

    ALuint before = channel;
    music.start();
    EXPECT_NE(channel, before);
    EXPECT_EQ(music.getPosition(), 0);
    EXPECT_TRUE(music.checkPlaying());
    std::string text = log();
    EXPECT_LT(text.find("Music: Stop"), text.rfind("Music: Start"));
}

TEST_F(PlayingMusic, ClockStopsAtTheEndOfTheTrackAndASeekBackPlaysOn)
{
    music.setPosition(149700);
    std::vector<Sample> ending = watch(800, 10);
    EXPECT_EQ(backwardSteps(ending), 0);
    EXPECT_EQ(ending.back().position, 150000) << "the clock rests on the end, however late the next frame looks";
    EXPECT_EQ(ending[ending.size() - 40].position, 150000);
    EXPECT_NE(channel, 0u);

    music.changePosition(-5000);
    EXPECT_EQ(music.getPosition(), 145000);
    play(300);
    EXPECT_GT(music.getPosition(), 145000 + 150);
}

TEST_F(PlayingMusic, VolumeGoesToTheSourceUnclampedAndIntoTheLog)
{
    music.setVolume(1.2f);
    EXPECT_FLOAT_EQ(music.getVolume(), 1.2f);
    EXPECT_THAT(log(), HasSubstr("Music: Setting volume to: 1.2\n"));
    music.setVolume(0.25f);
    EXPECT_FLOAT_EQ(music.getVolume(), 0.25f);
    music.setVolume(1.0f);
}

TEST_F(PlayingMusic, WaveDataIsTheTrackEndingAtThePositionHeard)
{
    music.setPosition(10000);
    play(300);
    music.setPause(true);
    const int count = 1024;
    std::vector<float> wave(count);
    music.getWaveData(wave.data(), count);

    // The same samples straight from the file: the window ends within the millisecond of
    // the reported position (22 samples at 22.05 kHz).
    SF_INFO info = {};
    SNDFILE* file = sf_open("data/audio/long.wav", SFM_READ, &info);
    ASSERT_NE(file, nullptr);
    long end = static_cast<long>(music.getPosition()) * info.samplerate / 1000;
    std::vector<float> track(count + 24);
    sf_seek(file, end - count, SEEK_SET);
    sf_readf_float(file, track.data(), count + 24);
    sf_close(file);

    bool found = false;
    for (int shift = 0; shift <= 23 && !found; shift++)
        found = std::equal(wave.begin(), wave.end(), track.begin() + shift);
    EXPECT_TRUE(found) << "the wave data is not the track around position " << music.getPosition();
}

TEST_F(PlayingMusic, SpectrumPeaksAtTheChordsTwoTones)
{
    music.setPosition(10000);
    play(300);
    music.setPause(true);
    const int count = 2048;  // a 4096-sample window: 5.38 Hz per bin at 22.05 kHz
    std::vector<float> spectrum(count);
    music.getSpectrum(spectrum.data(), count);

    int low = static_cast<int>(std::max_element(spectrum.begin(), spectrum.end()) - spectrum.begin());
    int high = static_cast<int>(std::max_element(spectrum.begin() + 50, spectrum.end()) - spectrum.begin());
    EXPECT_EQ(low, 41) << "220 Hz";
    EXPECT_EQ(high, 61) << "330 Hz";
    // Amplitudes 0.2 and 0.1, a little lower for falling between bins under a rectangular window
    EXPECT_NEAR(spectrum[41], 0.19, 0.02);
    EXPECT_NEAR(spectrum[61], 0.085, 0.02);
    EXPECT_LT(*std::max_element(spectrum.begin() + 200, spectrum.end()), 0.01f);
}

TEST_F(PlayingMusic, TimerSplitsThePositionTruncatingEachPart)
{
    music.setPause(true);
    struct Case {
        unsigned int position;
        double minute, second, hundredth;
    } cases[] = { { 59999, 0, 59, 99 }, { 60000, 1, 0, 0 }, { 1009, 0, 1, 0 }, { 123456, 2, 3, 45 } };
    for (const Case& c : cases) {
        music.setPosition(c.position);
        EXPECT_EQ(timer.getPosition(), static_cast<int>(c.position));
        EXPECT_EQ(timer.getPositionMinute(), c.minute) << c.position;
        EXPECT_EQ(timer.getPositionSecond(), c.second) << c.position;
        EXPECT_EQ(timer.getPositionMS(), c.hundredth) << c.position;
    }

    music.setPosition(1009);
    testing::internal::CaptureStdout();
    timer.print();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Time: 0:1:0\n");
    EXPECT_THAT(log(), HasSubstr(" - Time: 0:1:0\n"));
}

TEST_F(PlayingMusic, PlotLineCarriesTwoCharactersOfTheRate)
{
    music.setPause(true);
    // Two long jumps close whatever interval earlier frames left open.
    music.setPosition(0);
    fps.update();
    music.setPosition(100000);
    fps.update();

    // Sixty frames over 1001 ms of music: 59.94 per second.
    for (int frame = 1; frame <= 60; frame++) {
        music.setPosition(100000 + (frame * 1001 + 59) / 60);
        fps.update();
    }
    EXPECT_NEAR(fps.get(), 59.94, 0.01);
    std::string text = log();
    size_t plot = text.rfind("Plot ");
    ASSERT_NE(plot, std::string::npos);
    std::ostringstream average;
    average << static_cast<double>(fps.average);
    EXPECT_EQ(text.substr(plot, text.find('\n', plot) - plot), "Plot 101001 59 " + average.str());
}

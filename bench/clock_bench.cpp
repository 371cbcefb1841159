// Clock benchmark on the null output, which plays nothing: its figures are the mixer's schedule
// as the clock reads it, not what is heard (heard_bench.cpp measures that on a sound server).
// Reports the step between successive getPosition readings against wall time (median and worst,
// at 100 readings per second), the drift from the schedule over a minute, the cost of one
// reading and of a seek, and what opening a 140 s Ogg Vorbis track costs streamed against
// decoded whole (the music streams it).
#include <benchmark/benchmark.h>
#include <sndfile.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "framework/audio.h"
#include "framework/music.h"
#include "tests/support/fixture.h"

using Clock = std::chrono::steady_clock;

// Wall time in ms since `start`
static double since(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// What one run of readings saw
struct Steps {
    std::vector<double> errors;  // |position step - wall step| per reading, ms
    double drift = 0;            // position advance less wall advance over the run, ms
    int backwards = 0;           // readings below the one before
    int longestHold = 0;         // most successive readings with the same value
};

// Reads the clock every `periodMs` for `seconds` while the track plays, pumping the stream
// every `updateEvery` readings as the frame loop would; starts after `settleMs` of playing.
static Steps readClock(double seconds, double periodMs, int updateEvery, double settleMs)
{
    music.start();
    Clock::time_point settle = Clock::now() + std::chrono::microseconds(static_cast<long>(settleMs * 1000));
    while (Clock::now() < settle) {
        audio.update();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }

    Steps steps;
    Clock::time_point start = Clock::now();
    int readings = static_cast<int>(seconds * 1000 / periodMs);
    int first = music.getPosition(), last = first, hold = 0;
    double lastWall = 0;
    for (int i = 1; i <= readings; i++) {
        std::this_thread::sleep_until(start + std::chrono::microseconds(static_cast<long>(i * periodMs * 1000)));
        if (i % updateEvery == 0) audio.update();
        int position = music.getPosition();
        double wall = since(start);
        steps.errors.push_back(std::fabs((position - last) - (wall - lastWall)));
        if (position < last) steps.backwards++;
        hold = position == last ? hold + 1 : 0;
        steps.longestHold = std::max(steps.longestHold, hold);
        if (i == readings) steps.drift = (position - first) - wall;
        last = position;
        lastWall = wall;
    }
    music.stop();
    std::sort(steps.errors.begin(), steps.errors.end());
    return steps;
}

static void report(benchmark::State& state, const Steps& steps)
{
    state.counters["schedule_step_error_median_ms"] = steps.errors[steps.errors.size() / 2];
    state.counters["schedule_step_error_p99_ms"] = steps.errors[steps.errors.size() * 99 / 100];
    state.counters["schedule_step_error_worst_ms"] = steps.errors.back();
    state.counters["schedule_drift_ms"] = steps.drift;
    state.counters["backwards"] = steps.backwards;
    state.counters["longest_hold"] = steps.longestHold;
}

// A minute of readings at 100 per second, the stream pumped at each as a fast frame loop would
static void BM_ClockOverAMinute(benchmark::State& state)
{
    for (auto _ : state) report(state, readClock(60, 10, 1, 2000));
}
BENCHMARK(BM_ClockOverAMinute)->Iterations(1)->Unit(benchmark::kSecond);

// Frames as slow as 10 per second: the stream is pumped only every tenth reading
static void BM_ClockAtTenFrames(benchmark::State& state)
{
    for (auto _ : state) report(state, readClock(10, 10, 10, 2000));
}
BENCHMARK(BM_ClockAtTenFrames)->Iterations(1)->Unit(benchmark::kSecond);

// The cost of one reading while playing
static void BM_GetPosition(benchmark::State& state)
{
    music.start();
    for (auto _ : state) benchmark::DoNotOptimize(music.getPosition());
    music.stop();
}
BENCHMARK(BM_GetPosition)->MinTime(0.3);

// A seek: the queue is rebuilt from the new place (a second of the track decoded)
static void BM_Seek(benchmark::State& state)
{
    music.start();
    unsigned int target = 0;
    for (auto _ : state) {
        target = (target + 7919) % 100000;
        music.setPosition(target);
    }
    music.stop();
}
BENCHMARK(BM_Seek)->Unit(benchmark::kMicrosecond);

// A 140 s stereo Ogg Vorbis track at 44.1 kHz, the length of the demo's own, written once
// into a directory of its own that goes again at exit
struct OggTrack {
    std::string directory, path;
    OggTrack()
    {
        char pattern[] = "/tmp/clockbench-XXXXXX";
        directory = mkdtemp(pattern);
        path = directory + "/track.ogg";
        fixture::writeTrack(path, 140.0, 44100, 2, SF_FORMAT_OGG | SF_FORMAT_VORBIS);
    }
    ~OggTrack() { std::filesystem::remove_all(directory); }
};

static const std::string& oggTrack()
{
    static OggTrack track;
    return track.path;
}

// Start-up streamed: open the file and decode the first second, as start() queues it
static void BM_OpenOggStreamed(benchmark::State& state)
{
    const std::string& path = oggTrack();
    std::vector<float> second(44100 * 2);
    for (auto _ : state) {
        SF_INFO info = {};
        SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
        benchmark::DoNotOptimize(sf_readf_float(file, second.data(), 44100));
        sf_close(file);
    }
}
BENCHMARK(BM_OpenOggStreamed)->Unit(benchmark::kMillisecond);

// Start-up decoded whole: open the file and decode all 140 s into memory
static void BM_OpenOggDecodedWhole(benchmark::State& state)
{
    const std::string& path = oggTrack();
    for (auto _ : state) {
        SF_INFO info = {};
        SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
        std::vector<float> whole(static_cast<size_t>(info.frames) * info.channels);
        benchmark::DoNotOptimize(sf_readf_float(file, whole.data(), info.frames));
        sf_close(file);
    }
}
BENCHMARK(BM_OpenOggDecodedWhole)->Unit(benchmark::kMillisecond)->Iterations(5);

BENCHMARK_MAIN();

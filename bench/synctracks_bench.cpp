// Sync tracks: what a scene pays to read them. A value read is a binary search over one track's
// keys; a frame reads a hundred tracks of a thousand keys each, at one moment. The moments are
// spread at random over the keys (up to four thousand rows: 250 s at 16 rows a second), so that
// the searches do not all take the same path. Each sample is timed on the steady clock:
// a lookup as one sixteenth of sixteen in a row (a read of the clock costs about as much as
// one lookup), a frame as a whole; the counters are the median and the 99th percentile of the
// samples, in ns.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <string>
#include <vector>

#include "framework/synctracks.h"

using Clock = std::chrono::steady_clock;

static const int TRACKS = 100, KEYS = 1000, MOMENTS = 4096;

// The rows the keys lie on: each track has KEYS of them, chosen at random among SPAN
static const int SPAN = KEYS * 4;

// The handles of `count` tracks of KEYS keys each, in turn step, linear, smooth and ramp, on
// rows of their own, so that no two tracks are searched alike
static std::vector<int> tracksOfKeys(int count)
{
    std::vector<int> handles;
    std::mt19937 random(1338);
    for (int t = 0; t < count; t++) {
        int handle = synctracks.getTrack("bench/" + std::to_string(t));
        Synctracks::Keys& keys = synctracks.tracks[handle].keys;
        keys.clear();
        // Each row is taken with the chance that leaves the keys still wanted over the rows left.
        for (int row = 0; row < SPAN && static_cast<int>(keys.size()) < KEYS; row++)
            if (static_cast<int>(random() % (SPAN - row)) < KEYS - static_cast<int>(keys.size()))
                keys.push_back({row, static_cast<float>(row % 7), static_cast<unsigned char>(keys.size() % 4)});
        handles.push_back(handle);
    }
    return handles;
}

// Music positions over the keys and a little beyond either end
static std::vector<int> moments()
{
    std::mt19937 random(29);
    std::uniform_int_distribution<int> ms(-1000, static_cast<int>(SPAN / synctracks.rowsPerSecond * 1000) + 1000);
    std::vector<int> at(MOMENTS);
    for (int& moment : at) moment = ms(random);
    return at;
}

static double percentile(std::vector<double> samples, double share)
{
    size_t at = std::min(samples.size() - 1, static_cast<size_t>(share * samples.size()));
    std::nth_element(samples.begin(), samples.begin() + at, samples.end());
    return samples[at];
}

// Times each run of `measured`, one a benchmark iteration, and reports the median and the 99th
// percentile of the times over `per`
template <typename Measured>
static void timeEach(benchmark::State& state, int per, Measured measured)
{
    std::vector<double> samples;
    samples.reserve(1 << 20);
    for (auto _ : state) {
        Clock::time_point start = Clock::now();
        measured();
        samples.push_back(std::chrono::duration<double, std::nano>(Clock::now() - start).count() / per);
    }
    state.counters["median_ns"] = percentile(samples, 0.5);
    state.counters["p99_ns"] = percentile(samples, 0.99);
}

static void lookup(benchmark::State& state)
{
    int track = tracksOfKeys(1)[0];
    std::vector<int> at = moments();
    size_t next = 0;
    timeEach(state, 16, [&] {
        for (int i = 0; i < 16; i++) benchmark::DoNotOptimize(synctracks.getValue(track, at[next++ % MOMENTS]));
    });
}
BENCHMARK(lookup);

static void frame(benchmark::State& state)
{
    std::vector<int> handles = tracksOfKeys(TRACKS);
    std::vector<int> at = moments();
    size_t next = 0;
    timeEach(state, 1, [&] {
        int ms = at[next++ % MOMENTS];
        for (int handle : handles) benchmark::DoNotOptimize(synctracks.getValue(handle, ms));
    });
}
BENCHMARK(frame);

BENCHMARK_MAIN();

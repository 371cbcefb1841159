// Clock: the heard position from the output's readings, moving with wall time between them.
#include "clock.h"

#include <algorithm>  // Required for: std::max(), std::min(), std::nth_element()
#include <cmath>      // Required for: std::floor()

namespace {

const double BUCKET_MS = 250.0;
// Readings of a working output are late by at most about one mixer period (23 ms at 44.1 kHz
// and OpenAL's default 1024 samples)
const double FELL_BEHIND_MS = 30.0;
// How much faster than wall time the clock may run to catch up with the sound (after a resume
// the ear can be up to a mixer period ahead of the frozen picture): half again as fast, so no
// frame jumps by more than half a frame, and 20 ms are made up within 40 ms.
const double CATCH_UP = 0.5;

}  // namespace

Clock::Clock()
    : held(0.0), frozen(false), bucketCount(0), recentCount(0), live(false), lastDevice(-1.0), lastLatency(-1.0),
      from(0.0), anchored(false), anchor(0.0), runOn(false), lastWall(0.0)
{
}

void Clock::jump(double wall, double ms, double start, bool resume)
{
    held = ms;
    from = start;
    anchored = false;
    runOn = resume;
    lastWall = wall;
}

double Clock::read(const Reading& reading, double cap)
{
    learn(reading);
    if (frozen) return held;
    // The first reading after the source was mixed again tells which device moment carried
    // which track moment; before it, the source may still wait for the mixer's next period.
    if (!anchored && reading.playing && reading.source > from) {
        anchor = reading.source - reading.device;
        anchored = true;
    }
    double elapsed = std::max(0.0, reading.wall - lastWall);
    lastWall = reading.wall;

    double offset = 0.0, next = runOn ? held + elapsed : held;
    if (anchored && deviceOffset(offset))
        next = std::min(reading.wall + offset + anchor, held + elapsed * (1.0 + CATCH_UP));
    // Never backwards: after a seek the value waits at its target until the sound gets there.
    held = std::max(held, std::min(next, cap));
    return held;
}

void Clock::learn(const Reading& reading)
{
    if (reading.device == lastDevice && reading.latency != lastLatency) live = true;
    lastDevice = reading.device;
    lastLatency = reading.latency;

    double offset = reading.device - reading.latency - reading.wall;
    recent[recentCount++ % RECENT] = offset;
    long long index = static_cast<long long>(std::floor(reading.wall / BUCKET_MS));
    Bucket& newest = buckets[(bucketCount + BUCKETS - 1) % BUCKETS];
    if (bucketCount > 0 && newest.index == index) {
        newest.offset = std::max(newest.offset, offset);
        return;
    }
    // A whole quarter second read far later than before is no late reading but an output that
    // fell behind (its mixer stalled, and the sound with it): from here on only that counts.
    if (bucketCount > 1) {
        double before = -INFINITY;
        for (int i = 1; i < std::min(bucketCount, BUCKETS); i++)
            before = std::max(before, buckets[(bucketCount - 1 - i) % BUCKETS].offset);
        if (newest.offset < before - FELL_BEHIND_MS) {
            buckets[0] = newest;
            bucketCount = 1;
        }
    }
    buckets[bucketCount++ % BUCKETS] = { index, offset };
}

bool Clock::deviceOffset(double& offset) const
{
    if (live) {
        int count = std::min(recentCount, RECENT);
        double sorted[RECENT];
        std::copy(recent, recent + count, sorted);
        std::nth_element(sorted, sorted + count / 2, sorted + count);
        offset = sorted[count / 2];
        return count > 0;
    }
    // The window is the last BUCKETS quarter seconds that had readings, not the last two
    // seconds of time: a good reading survives a pause or the time before the music starts.
    offset = buckets[0].offset;
    for (int i = 1; i < std::min(bucketCount, BUCKETS); i++) offset = std::max(offset, buckets[i].offset);
    return bucketCount > 0;
}

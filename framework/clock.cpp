// Clock: the heard position from the output's readings, moving with wall time between them.
#include "clock.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace {

const double BUCKET_MS = 250.0;
// A reading of a working output with a fixed latency is late by at most about one mixer period
// (23 ms at 44.1 kHz and OpenAL's default 1024 samples), and a sound server's jitters by far
// less; one further behind than that is an output that fell behind.
const double FELL_BEHIND_MS = 30.0;
// A sound server reports about a millisecond of latency for a stream with nothing queued
const double EMPTY_MS = 2.0;
// A sound server's timing is off by up to a few milliseconds in a stream's first tenth of a
// second, and closest to the truth about half a second in, before it starts to wander
const double SETTLE_MS = 500.0;
// How fast a live output's held offset may follow its readings: a sound card's crystal and the
// steady clock part by well under a tenth of a millisecond a second (100 ppm).
const double PARTING = 0.1 / 1000.0;

}  // namespace

double steadyMs()
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

Clock::Clock()
    : held(0.0), frozen(false), bucketCount(0), recentCount(0), live(false), lastWall(NAN), lastDevice(-1.0),
      lastLatency(-1.0), fresh(true), openedAt(NAN), settled(0), steady(0.0), from(0.0), anchored(false), anchor(0.0)
{
}

void Clock::reopened()
{
    bucketCount = recentCount = 0;
    fresh = true;
    openedAt = NAN;
}

void Clock::jump(double ms, double start)
{
    held = ms;
    from = start;
    anchored = false;
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
    // A gap between the value and the sound is the output skipping ahead (a sound server plays
    // on through an underrun): the picture goes where the sound is at once, and no further.
    double offset = 0.0, next = held;
    if (anchored && deviceOffset(offset)) next = reading.wall + offset + anchor;
    // Never backwards: after a jump, or when the output falls behind, the value waits until the
    // sound gets there.
    held = std::max(held, std::min(next, cap));
    return held;
}

void Clock::learn(const Reading& reading)
{
    if (reading.device == lastDevice && reading.latency != lastLatency) live = true;
    double elapsed = reading.wall - lastWall;
    lastWall = reading.wall;
    lastDevice = reading.device;
    lastLatency = reading.latency;

    // A reading far later than the clock's estimate is no late reading but an output that fell
    // behind (its mixer stalled or was paused, and the sound with it; ALSA goes on from where a
    // stalled process left it): from here on only it counts, so the picture holds from its first
    // reading on.
    double offset = reading.device - reading.latency - reading.wall, best = 0.0;
    if (deviceOffset(best) && offset < best - FELL_BEHIND_MS) bucketCount = recentCount = 0;
    if (live) {
        // A fresh stream with nothing queued yet tells nothing of when what is mixed will be heard
        // (a sound server reports it empty while it starts)
        if (!fresh || reading.latency >= EMPTY_MS) hold(offset, reading.wall, elapsed);
        return;
    }
    long long index = static_cast<long long>(std::floor(reading.wall / BUCKET_MS));
    Bucket& newest = buckets[(bucketCount + BUCKETS - 1) % BUCKETS];
    if (bucketCount > 0 && newest.index == index) {
        newest.offset = std::max(newest.offset, offset);
        return;
    }
    buckets[bucketCount++ % BUCKETS] = { index, offset };
}

void Clock::hold(double offset, double wall, double elapsed)
{
    recent[recentCount++ % RECENT] = offset;
    int count = std::min(recentCount, RECENT);
    double sorted[RECENT] = {};
    std::copy(recent, recent + count, sorted);
    std::nth_element(sorted, sorted + count / 2, sorted + count);
    double middle = sorted[count / 2];
    if (std::isnan(openedAt)) openedAt = wall;
    settled = wall - openedAt < SETTLE_MS ? 0 : settled + 1;
    if (settled >= RECENT) fresh = false;
    if (fresh || std::fabs(middle - steady) > FELL_BEHIND_MS) {
        steady = middle;
        return;
    }
    double most = PARTING * elapsed;
    steady += std::max(-most, std::min(most, middle - steady));
}

bool Clock::deviceOffset(double& offset) const
{
    if (live) {
        offset = steady;
        return recentCount > 0;
    }
    // The window is the last BUCKETS quarter seconds that had readings, not the last eight
    // seconds of time: a good reading survives a pause or the time before the music starts.
    offset = buckets[0].offset;
    for (int i = 1; i < std::min(bucketCount, BUCKETS); i++) offset = std::max(offset, buckets[i].offset);
    return bucketCount > 0;
}

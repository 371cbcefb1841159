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

}  // namespace

double steadyMs()
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

Clock::Clock()
    : held(0.0), frozen(false), bucketCount(0), recentCount(0), live(false), lastDevice(-1.0), lastLatency(-1.0),
      from(0.0), anchored(false), anchor(0.0)
{
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
    lastDevice = reading.device;
    lastLatency = reading.latency;

    // A reading far later than the clock's estimate is no late reading but an output that fell
    // behind (its mixer stalled or was paused, and the sound with it; ALSA goes on from where a
    // stalled process left it): from here on only it counts, so the picture holds from its first
    // reading on.
    double offset = reading.device - reading.latency - reading.wall, best = 0.0;
    if (deviceOffset(best) && offset < best - FELL_BEHIND_MS) bucketCount = recentCount = 0;
    recent[recentCount++ % RECENT] = offset;
    long long index = static_cast<long long>(std::floor(reading.wall / BUCKET_MS));
    Bucket& newest = buckets[(bucketCount + BUCKETS - 1) % BUCKETS];
    if (bucketCount > 0 && newest.index == index) {
        newest.offset = std::max(newest.offset, offset);
        return;
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
    // The window is the last BUCKETS quarter seconds that had readings, not the last eight
    // seconds of time: a good reading survives a pause or the time before the music starts.
    offset = buckets[0].offset;
    for (int i = 1; i < std::min(bucketCount, BUCKETS); i++) offset = std::max(offset, buckets[i].offset);
    return bucketCount > 0;
}

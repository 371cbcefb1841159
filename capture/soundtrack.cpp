// Soundtrack: libsndfile reads the track; the span is counted in the track's own sample
// frames, so the sound covers exactly the milliseconds the pictures do.
#include "capture/soundtrack.h"

#include <algorithm>
#include <string>

#include "capture/failure.h"
#include "framework/config.h"
#include "framework/music.h"

static long long msToFrame(long long ms, int rate) { return ms * rate / 1000; }

Soundtrack::Soundtrack(int from, int to) : info(), file(nullptr), next(0), end(0), span(0)
{
    std::string path = audioDirectory + Config::music;
    file = sf_open(path.c_str(), SFM_READ, &info);
    if (!file) fail("cannot read the track " + path + ": " + sf_strerror(nullptr));
    next = msToFrame(from, info.samplerate);
    span = msToFrame(to, info.samplerate) - next;
    end = std::min(next + span, static_cast<long long>(info.frames));
    if (sf_seek(file, next, SEEK_SET) < 0) fail("cannot read the track " + path + ": " + sf_strerror(file));
}

Soundtrack::~Soundtrack() { sf_close(file); }

const std::vector<float>& Soundtrack::readUntil(int ms)
{
    long long until = std::min(msToFrame(ms, info.samplerate), end);
    long long count = std::max(until - next, 0LL);
    samples.resize(static_cast<size_t>(count * info.channels));
    sf_count_t got = sf_readf_float(file, samples.data(), count);
    // A track shorter than it claims ends in silence rather than short.
    std::fill(samples.begin() + got * info.channels, samples.end(), 0.0f);
    next += count;
    return samples;
}

// Soundtrack: the span of the demo's track that a capture covers, read from
// data/audio/<MUSIC> as the music itself reads it.
#pragma once

#include <sndfile.h>

#include <vector>

class Soundtrack {
public:
    // Opens the configured track at `from`; the span ends at `to` (both ms)
    Soundtrack(int from, int to);
    ~Soundtrack();

    int rate() const { return info.samplerate; }
    int channels() const { return info.channels; }
    // Sample frames of the track from `from` to `to`
    long long frames() const { return span; }
    // Interleaved samples from where the last call ended up to `ms` of music, at most to the
    // span's end; empty once it is all read
    const std::vector<float>& readUntil(int ms);

private:
    SF_INFO info;
    SNDFILE* file;
    long long next, end, span;  // sample frames of the track
    std::vector<float> samples;
};

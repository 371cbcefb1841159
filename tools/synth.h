// The soundtrack's instruments and effects: every voice is synthesised from oscillators,
// filtered noise and envelopes; nothing is sampled.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

constexpr int sampleRate = 44100;

enum class Voice {
    Kick, Snare, HatClosed, HatOpen, Crash, Tom,  // drums
    Bass, Pad, Pluck, Lead, Stab,                 // pitched
    Riser, Blow, Thud,                            // effects on the schedule's marks
};

// One sounding event: when, how long it is held, which voice, MIDI pitch, level, stereo position.
struct Note {
    double time;    // seconds
    double length;  // seconds held; the voice may ring on past it
    Voice voice;
    int pitch;      // MIDI note number; drums use it to tune (toms) or ignore it
    double gain;
    double pan;     // -1 left .. +1 right
};

// The mono samples of one note, from its start; `seed` feeds the noise of that note alone.
std::vector<float> renderNote(const Note& note, uint64_t seed);

// The balance of the mix: each voice's level, by which the score's own note levels are scaled.
double mixLevel(Voice voice);

// How much of a voice goes to the reverb and to the echo, beside the dry mix.
double reverbSend(Voice voice);
double echoSend(Voice voice);

struct Stereo {
    std::vector<float> left, right;
    explicit Stereo(size_t frames) : left(frames), right(frames) {}
    size_t frames() const { return left.size(); }
};

// A plate-like stereo reverb of `input` (comb and all-pass filters in parallel and series).
Stereo reverb(const Stereo& input);

// A ping-pong echo of `input` with the given delay in seconds.
Stereo echo(const Stereo& input, double delay);

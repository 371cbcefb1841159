// Deterministic pseudo-random numbers for the content generator.
// Every picture and every note that needs chance draws from a Rng seeded with a fixed
// number, so the output is the same on every run and every machine.
#pragma once

#include <cstdint>

class Rng {
public:
    explicit Rng(uint64_t seed) : state(seed) {}

    // Next raw 64-bit value (SplitMix64: tiny, fast and well mixed).
    uint64_t next()
    {
        uint64_t z = (state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }

    // Uniform double in [0, 1), from the top 53 bits.
    double uniform() { return (next() >> 11) * (1.0 / 9007199254740992.0); }

    // Uniform double in [lo, hi).
    double range(double lo, double hi) { return lo + (hi - lo) * uniform(); }

    // Uniform double in [-1, 1), the shape audio noise wants.
    double bipolar() { return uniform() * 2.0 - 1.0; }

private:
    uint64_t state;
};

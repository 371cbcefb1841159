// Math: music time mapped onto 0..1 progress, and random floats.
// Owns: nothing.
// Depends on: the C library (rand, nextafterf).
#pragma once

class Math {
public:
    Math();
    ~Math();

    // Progress of `pos` through start..end, clamped: 0 at or before start, 1 from end on
    double calcPosFloat(float pos, float start, float end);
    // A float in [0, max), from the unseeded rand()
    float randFloat(float max);
};

extern Math math;

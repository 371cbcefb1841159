// Noise, and finding it again: the tests that listen to what the engine played (a capture's
// soundtrack, what a sound server played) give it white noise, every stretch of which is unlike
// every other, and find each stretch they hear by normalised cross-correlation.
#pragma once

#include <vector>

namespace noise {

// Sample `i` of a white noise between -0.5 and 0.5: a function of `i` alone, the same everywhere
float sample(long i);
// `seconds` of that noise at `rate`
std::vector<float> samples(double seconds, int rate);

// Normalised correlation of a[0, n) with b[0, n): 1 for the same shape, near 0 for unlike noise
double correlation(const float* a, const float* b, long n);

}  // namespace noise

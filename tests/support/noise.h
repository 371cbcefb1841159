// Noise, and finding it again: the tests that listen to what the engine played (a capture's
// soundtrack, what a sound server played) give it white noise, every stretch of which is unlike
// every other, and find each stretch they hear by normalised cross-correlation.
//
// Depends on: FFTW 3 (fftw3f) for the search over a whole track.
#pragma once

#include <fftw3.h>

#include <vector>

namespace noise {

// Sample `i` of a white noise between -0.5 and 0.5: a function of `i` alone, the same everywhere
float sample(long i);
// `seconds` of that noise at `rate`
std::vector<float> samples(double seconds, int rate);

// Normalised correlation of a[0, n) with b[0, n): 1 for the same shape, near 0 for unlike noise
double correlation(const float* a, const float* b, long n);

// Finds stretches of `part` samples in a signal, all its offsets at once: one cross-correlation
// through the signal's spectrum, worked out once.
class Finder {
public:
    Finder(const std::vector<float>& signal, long part);
    ~Finder();
    Finder(const Finder&) = delete;
    Finder& operator=(const Finder&) = delete;

    // The offset in the signal where `stretch` (`part` samples) correlates best
    long find(const float* stretch);

private:
    long length, part;
    long size = 1;
    float* real;
    fftwf_complex* spectrum;
    fftwf_complex* product;
    fftwf_plan forward, backward;
    std::vector<float> signalSpectrum;  // real and imaginary parts in turn
};

}  // namespace noise

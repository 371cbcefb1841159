// Noise: a hashed counter (splitmix64) for the samples, FFTW for the search.
#include "tests/support/noise.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace noise {

float sample(long i)
{
    uint64_t x = static_cast<uint64_t>(i) * 0x9E3779B97F4A7C15ull;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
    x ^= x >> 31;
    return static_cast<float>(static_cast<double>(x >> 40) / (1 << 24) - 0.5);
}

std::vector<float> samples(double seconds, int rate)
{
    std::vector<float> noise(static_cast<size_t>(seconds * rate));
    for (size_t i = 0; i < noise.size(); i++) noise[i] = sample(static_cast<long>(i));
    return noise;
}

double correlation(const float* a, const float* b, long n)
{
    double product = 0, energyA = 0, energyB = 0;
    for (long i = 0; i < n; i++) {
        product += static_cast<double>(a[i]) * b[i];
        energyA += static_cast<double>(a[i]) * a[i];
        energyB += static_cast<double>(b[i]) * b[i];
    }
    return energyA > 0 && energyB > 0 ? product / std::sqrt(energyA * energyB) : 0;
}

Finder::Finder(const std::vector<float>& signal, long part) : length(static_cast<long>(signal.size())), part(part)
{
    while (size < length + part) size <<= 1;
    real = fftwf_alloc_real(size);
    spectrum = fftwf_alloc_complex(size / 2 + 1);
    product = fftwf_alloc_complex(size / 2 + 1);
    forward = fftwf_plan_dft_r2c_1d(static_cast<int>(size), real, spectrum, FFTW_ESTIMATE);
    backward = fftwf_plan_dft_c2r_1d(static_cast<int>(size), product, real, FFTW_ESTIMATE);
    std::fill(real, real + size, 0.0f);
    std::copy(signal.begin(), signal.end(), real);
    fftwf_execute(forward);
    signalSpectrum.assign(&spectrum[0][0], &spectrum[0][0] + 2 * (size / 2 + 1));
}

Finder::~Finder()
{
    fftwf_destroy_plan(forward);
    fftwf_destroy_plan(backward);
    fftwf_free(real);
    fftwf_free(spectrum);
    fftwf_free(product);
}

long Finder::find(const float* stretch)
{
    std::fill(real, real + size, 0.0f);
    std::copy(stretch, stretch + part, real);
    fftwf_execute(forward);
    // The signal's spectrum times the stretch's conjugate: the correlation at every offset
    for (long i = 0; i <= size / 2; i++) {
        float sr = signalSpectrum[2 * i], si = signalSpectrum[2 * i + 1], cr = spectrum[i][0], ci = spectrum[i][1];
        product[i][0] = sr * cr + si * ci;
        product[i][1] = si * cr - sr * ci;
    }
    fftwf_execute(backward);
    return std::max_element(real, real + std::max(1L, length - part + 1)) - real;
}

}  // namespace noise

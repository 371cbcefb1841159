// Noise: a hashed counter (splitmix64) for the samples.
#include "tests/support/noise.h"

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

}  // namespace noise

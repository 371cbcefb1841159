// Math: the comparisons come first, so an empty or inverted span never divides by zero.
#include "math.h"

#include <cmath>
#include <cstdlib>

Math::Math() {}

Math::~Math() {}

double Math::calcPosFloat(float pos, float start, float end)
{
    long double p = pos, s = start, e = end;
    if (s >= p) return 0.0;
    if (p >= e) return 1.0;
    return static_cast<double>((p - s) / (e - s));
}

float Math::randFloat(float max)
{
    int r = rand() % 2147483647;  // only RAND_MAX itself maps to 0
    // r / 2^31 is below 1, but near 1 it rounds up to 1.0f; keep the top of the range open.
    float value = static_cast<float>(r * static_cast<double>(4.656613e-10f) * max);
    if (max > 0.0f && value >= max) value = nextafterf(max, 0.0f);
    return value;
}

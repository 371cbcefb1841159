// Measuring, for the benchmarks: processor time and the middle of a set of figures (wall time
// is steadyMs(), framework/clock.h).
#pragma once

#include <vector>

namespace measure {

// Seconds of processor time this process has used, every thread of it (a software renderer's
// among them), user and system
double processorSeconds();
// The middle one of `values` (the upper of the two middle ones for an even count)
double median(std::vector<double> values);

}  // namespace measure

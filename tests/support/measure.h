// Measuring, for the benchmarks and the timed tests: the two clocks they time with and the
// middle of a set of figures.
#pragma once

#include <vector>

namespace measure {

// Milliseconds on the steady clock
double steadyMs();
// Seconds of processor time this process has used, every thread of it (a software renderer's
// among them), user and system
double processorSeconds();
// The middle one of `values` (the upper of the two middle ones for an even count)
double median(std::vector<double> values);

}  // namespace measure

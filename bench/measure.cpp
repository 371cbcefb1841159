// Measuring: getrusage and a median.
#include "bench/measure.h"

#include <sys/resource.h>

#include <algorithm>

namespace measure {

double processorSeconds()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

double median(std::vector<double> values)
{
    if (values.empty()) return 0;
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

}  // namespace measure

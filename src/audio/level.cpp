#include "audio/level.h"

#include <algorithm>
#include <cmath>

namespace quillo {

double blockRms(const float* samples, std::size_t count)
{
    if (count == 0)
        return 0.0;
    double sum = 0.0;
    for (std::size_t i = 0; i < count; ++i) {
        const double sample = samples[i];
        sum += sample * sample;
    }
    return std::sqrt(sum / static_cast<double>(count));
}

int blockLevel(const float* samples, std::size_t count)
{
    // In this order of the arguments std::min also turns a NaN into 100.
    return static_cast<int>(std::min(100.0, blockRms(samples, count) * 500.0));
}

} // namespace quillo

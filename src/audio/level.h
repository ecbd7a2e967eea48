#pragma once

#include <cstddef>

namespace quillo {

/// Loudness of a block of samples. Pure functions, any thread; an empty block is silent.

/// Root mean square of the samples, computed in double precision.
double blockRms(const float* samples, std::size_t count);

/// The root mean square on the scale of the user interface: 0 is silence, 100 an RMS of 0.2 or more; linear, truncated.
int blockLevel(const float* samples, std::size_t count);

} // namespace quillo

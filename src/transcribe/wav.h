#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace quillo {

/// A complete WAV file in memory, 16-bit PCM, from samples as base/sample_format.h describes them.
///
/// Samples beyond -1.0 to 1.0 are clamped, the rest is truncated toward zero, so that -32768 never occurs. The sizes
/// in the header are 32-bit: they hold 37 hours. A pure function; any thread.
std::vector<std::uint8_t> encodeWav(const float* samples, std::size_t count);

} // namespace quillo

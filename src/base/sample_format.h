#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace quillo {

/// The form of sound in the program, from the microphone to the recognition: 32-bit floats from -1 to 1 in machine
/// byte order, of one channel, 16,000 a second. The microphone delivers them in blocks of 512, which last 32 ms.
inline constexpr std::uint16_t channelCount = 1;
inline constexpr std::uint32_t samplesPerSecond = 16'000;
inline constexpr std::uint32_t samplesPerBlock = 512;
inline constexpr std::chrono::milliseconds blockLength{1000 * samplesPerBlock / samplesPerSecond};

/// How long so many samples last, in seconds.
constexpr double secondsOf(std::size_t samples)
{
    return static_cast<double>(static_cast<float>(samples) / static_cast<float>(samplesPerSecond));
}

} // namespace quillo

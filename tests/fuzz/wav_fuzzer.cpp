#include "fuzz/fuzzing.h"

#include "transcribe/wav.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace quillo {
namespace {

using fuzz::require;

template<typename Number> Number numberAt(const std::vector<std::uint8_t>& bytes, std::size_t offset)
{
    Number value{};
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

void checkSample(float sample, int code)
{
    if (std::isnan(sample))
        return require(std::abs(code) <= 32767, "what is not a number becomes some valid sample");
    const double exact = std::clamp(static_cast<double>(sample), -1.0, 1.0) * 32767.0;
    // Single precision may round up to the next whole number before the fraction is cut off.
    require(std::abs(code) <= 32767 && std::abs(code - exact) < 1.0, "the code is that of the sample");
    require(code == 0 || (code > 0) == (sample > 0), "the sign is that of the sample");
    require(std::abs(sample) < 1.0F || std::abs(code) == 32767, "loud samples are clamped");
    require(std::abs(code) <= std::abs(exact) + 0.002, "fractions are cut off");
}

} // namespace
} // namespace quillo

/// The input is samples, repeated so that they go beyond the blocks that the encoder works in.
void quillo::fuzz::tryInput(const std::string& input)
{
    std::vector<float> once(input.size() / sizeof(float));
    if (!once.empty())
        std::memcpy(once.data(), input.data(), once.size() * sizeof(float));
    std::vector<float> samples = once;
    if (input.size() % 4 == 3 && !once.empty())
        while (samples.size() < 9000)
            samples.insert(samples.end(), once.begin(), once.end());

    const std::vector<std::uint8_t> wav = encodeWav(samples.data(), samples.size());
    require(wav.size() == 44 + 2 * samples.size(), "two bytes for each sample follow the header");
    require(numberAt<std::uint32_t>(wav, 4) == wav.size() - 8, "the size of the file is right");
    require(numberAt<std::uint32_t>(wav, 40) == wav.size() - 44, "the size of the data is right");
    for (std::size_t i = 0; i < samples.size(); ++i)
        checkSample(samples[i], numberAt<std::int16_t>(wav, 44 + 2 * i));
}

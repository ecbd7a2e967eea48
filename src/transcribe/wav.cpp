#include "transcribe/wav.h"

#include "base/sample_format.h"

#include <algorithm>
#include <array>
#include <bit>
#include <concepts>
#include <string_view>

namespace quillo {

namespace {

static_assert(std::endian::native == std::endian::little, "samples are copied as they lie in memory");

constexpr std::size_t headerSize = 44;
constexpr std::uint16_t bytesPerSample = 2;

void append(std::vector<std::uint8_t>& wav, std::string_view text)
{
    for (const char character : text)
        wav.push_back(static_cast<std::uint8_t>(character));
}

template<std::unsigned_integral Unsigned> void append(std::vector<std::uint8_t>& wav, Unsigned value)
{
    for (std::size_t i = 0; i < sizeof(value); ++i)
        wav.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

void appendHeader(std::vector<std::uint8_t>& wav, std::uint32_t dataSize)
{
    append(wav, "RIFF");
    append(wav, static_cast<std::uint32_t>(headerSize - 8 + dataSize));
    append(wav, "WAVE");
    append(wav, "fmt ");
    append(wav, std::uint32_t{16}); // size of this sub-chunk
    append(wav, std::uint16_t{1}); // PCM
    append(wav, channelCount);
    append(wav, samplesPerSecond);
    append(wav, samplesPerSecond * channelCount * bytesPerSample);
    append(wav, static_cast<std::uint16_t>(channelCount * bytesPerSample));
    append(wav, static_cast<std::uint16_t>(8 * bytesPerSample));
    append(wav, "data");
    append(wav, dataSize);
}

std::int16_t toPcm(float sample)
{
    // Written for the compiler to vectorise, and so that what is not a number has a defined result as well.
    const float limited = sample > -1.0F ? sample : -1.0F;
    const float clamped = limited < 1.0F ? limited : 1.0F;
    return static_cast<std::int16_t>(clamped * 32767.0F);
}

} // namespace

std::vector<std::uint8_t> encodeWav(const float* samples, std::size_t count)
{
    std::vector<std::uint8_t> wav;
    wav.reserve(headerSize + bytesPerSample * count);
    appendHeader(wav, static_cast<std::uint32_t>(bytesPerSample * count));

    // Block by block, so that the conversion is a loop the compiler can vectorise, and its output stays in the cache.
    std::array<std::int16_t, 4096> block;
    for (std::size_t done = 0; done < count; done += block.size()) {
        const std::size_t length = std::min(block.size(), count - done);
        std::transform(samples + done, samples + done + length, block.begin(), toPcm);
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(block.data());
        wav.insert(wav.end(), bytes, bytes + bytesPerSample * length);
    }
    return wav;
}

} // namespace quillo

#include "transcribe/wav.h"

#include <gtest/gtest.h>

#include <limits>

namespace quillo {

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();

struct Sample {
    float value;
    std::int16_t code;
};

const std::vector<Sample> table{
    {0.0F, 0}, {1.0F, 32767}, {-1.0F, -32767}, {1.5F, 32767}, {-3.0F, -32767}, {infinity, 32767}, {-infinity, -32767},
    {0.5F, 16383}, {-0.5F, -16383}, {0.99999F, 32766}, {-0.99999F, -32766}, {2e-5F, 0}, {-2e-5F, 0},
    {3.0518509e-05F, 1}, // 0.999999999 in double precision, 1 in single
};

} // namespace

TEST(Wav, WritesTheHeaderByteByByte)
{
    const std::vector<float> samples(0x012345);
    const std::vector<std::uint8_t> wav = encodeWav(samples.data(), samples.size());
    ASSERT_EQ(wav.size(), 44 + 2 * samples.size());
    const std::vector<std::uint8_t> expected{'R', 'I', 'F', 'F', 0xAE, 0x46, 0x02, 0x00, 'W', 'A', 'V',
        'E', // 36 + 2 * 0x012345
        'f', 'm', 't', ' ', 16, 0, 0, 0, 1, 0, 1, 0, 0x80, 0x3E, 0, 0, 0x00, 0x7D, 0, 0, 2, 0, 16, 0, //
        'd', 'a', 't', 'a', 0x8A, 0x46, 0x02, 0x00};
    EXPECT_EQ(std::vector(wav.begin(), wav.begin() + 44), expected);

    const std::vector<std::uint8_t> empty = encodeWav(nullptr, 0);
    ASSERT_EQ(empty.size(), 44U);
    EXPECT_EQ(empty[4], 36);
    EXPECT_EQ(std::vector(empty.begin() + 40, empty.end()), std::vector<std::uint8_t>(4));
}

TEST(Wav, CutsSamplesOffToSixteenBits)
{
    // The table over and over, to cross the boundaries of whatever blocks the encoder works in.
    std::vector<float> samples;
    for (std::size_t i = 0; i < 16000; ++i)
        samples.push_back(table[i % table.size()].value);
    const std::vector<std::uint8_t> wav = encodeWav(samples.data(), samples.size());
    ASSERT_EQ(wav.size(), 44 + 2 * samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i)
        ASSERT_EQ(static_cast<std::int16_t>(wav[44 + 2 * i] | wav[45 + 2 * i] << 8), table[i % table.size()].code) << i;
}

} // namespace quillo

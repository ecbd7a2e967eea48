#include "audio/level.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>
#include <vector>

namespace quillo {
namespace {

TEST(Level, OfASquareWave)
{
    // 0.01F lies slightly below 0.01, and levels are truncated.
    const std::pair<float, int> cases[] = {{0.0F, 0}, {0.0019F, 0}, {0.01F, 4}, {0.05F, 25}, {0.1F, 50}, {0.1999F, 99},
        {0.2F, 100}, {1.0F, 100}, {1e30F, 100}, {std::numeric_limits<float>::quiet_NaN(), 100}};
    for (const auto& [amplitude, level] : cases) {
        std::vector<float> block(512, amplitude);
        for (std::size_t i = 1; i < block.size(); i += 2)
            block[i] = -block[i];
        EXPECT_EQ(blockLevel(block.data(), block.size()), level) << amplitude;
    }
}

TEST(Level, OfUnevenBlocksIsTheRootMeanSquare)
{
    const std::vector<float> block{0.3F, 0.0F, -0.4F, 0.0F};
    EXPECT_NEAR(blockRms(block.data(), block.size()), 0.25, 1e-8);
    EXPECT_EQ(blockRms(nullptr, 0), 0.0);
    EXPECT_EQ(blockLevel(nullptr, 0), 0);
}

} // namespace
} // namespace quillo

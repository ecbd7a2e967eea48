#include "audio/level.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>
#include <vector>

namespace quillo {
namespace {

TEST(Level, IsTheRootMeanSquareTruncated)
{
    // 0.01F lies slightly below 0.01.
    const std::pair<float, int> squareWaves[] = {{0.0F, 0}, {0.0019F, 0}, {0.01F, 4}, {0.05F, 25}, {0.1F, 50},
        {0.1999F, 99}, {0.2F, 100}, {1.0F, 100}, {1e30F, 100}, {std::numeric_limits<float>::quiet_NaN(), 100}};
    for (const auto& [amplitude, level] : squareWaves) {
        const std::vector<float> block{amplitude, -amplitude};
        EXPECT_EQ(blockLevel(block.data(), block.size()), level) << amplitude;
    }
    const std::vector<float> uneven{0.3F, 0.0F, -0.4F, 0.0F};
    EXPECT_NEAR(blockRms(uneven.data(), uneven.size()), 0.25, 1e-8);
    EXPECT_EQ(blockLevel(nullptr, 0), 0);
}

} // namespace
} // namespace quillo

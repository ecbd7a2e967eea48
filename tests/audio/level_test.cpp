#include "audio/level.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace quillo {
namespace {

struct LevelCase {
    float amplitude;
    int level;
};

class Level : public testing::TestWithParam<LevelCase> { };

TEST_P(Level, OfASquareWave)
{
    std::vector<float> block(512, GetParam().amplitude);
    for (std::size_t i = 1; i < block.size(); i += 2)
        block[i] = -block[i];
    EXPECT_EQ(blockLevel(block.data(), block.size()), GetParam().level);
}

// 0.01F lies slightly below 0.01, and levels are truncated.
INSTANTIATE_TEST_SUITE_P(Amplitudes, Level,
    testing::Values(LevelCase{0.0F, 0}, LevelCase{0.0019F, 0}, LevelCase{0.01F, 4}, LevelCase{0.05F, 25},
        LevelCase{0.1F, 50}, LevelCase{0.1999F, 99}, LevelCase{0.2F, 100}, LevelCase{1.0F, 100}, LevelCase{1e30F, 100},
        LevelCase{std::numeric_limits<float>::quiet_NaN(), 100}));

TEST(LevelOfUnevenBlocks, IsTheRootMeanSquare)
{
    const std::vector<float> block{0.3F, 0.0F, -0.4F, 0.0F};
    EXPECT_NEAR(blockRms(block.data(), block.size()), 0.25, 1e-8);
    EXPECT_EQ(blockRms(nullptr, 0), 0.0);
    EXPECT_EQ(blockLevel(nullptr, 0), 0);
}

} // namespace
} // namespace quillo

#include "audio/capture_context.h"

#include <gmock/gmock.h>

#include <cmath>
#include <utility>
#include <vector>

namespace quillo {
namespace {

constexpr float threshold = 0.05F;

using Range = std::pair<int, int>; // of block indices, both included

std::vector<int> indices(const std::vector<Range>& ranges)
{
    std::vector<int> all;
    for (const auto& [first, last] : ranges)
        for (int i = first; i <= last; ++i)
            all.push_back(i);
    return all;
}

TEST(CaptureContext, CutsTheStreamIntoSegments)
{
    const struct {
        const char* name;
        std::vector<std::pair<char, int>> blocks; // 'L'oud or 'q'uiet, how many of them
        std::vector<std::vector<Range>> segments; // delivered while the blocks come
        std::vector<Range> rest; // delivered by the flush
    } cases[] = {
        {"silence", {{'q', 100}}, {}, {}},
        {"closed by the 25th quiet block", {{'q', 2}, {'L', 3}, {'q', 30}}, {{{2, 29}}}, {}},
        {"not closed by the 24th", {{'L', 3}, {'q', 24}}, {}, {{0, 26}}},
        {"loud block in the tail", {{'L', 3}, {'q', 24}, {'L', 1}, {'q', 25}}, {{{0, 52}}}, {}},
        {"onset too short", {{'q', 1}, {'L', 2}, {'q', 100}}, {}, {{1, 2}}},
        {"lone block goes in front", {{'L', 1}, {'q', 40}, {'L', 3}, {'q', 25}}, {{{0, 0}, {41, 68}}}, {}},
        {"several onsets pile up", {{'L', 2}, {'q', 1}, {'L', 2}, {'q', 1}}, {}, {{0, 1}, {3, 4}}},
        {"counting starts anew", {{'L', 3}, {'q', 25}, {'L', 2}, {'q', 1}, {'L', 3}, {'q', 25}},
            {{{0, 27}}, {{28, 29}, {31, 58}}}, {}},
        {"the tail is counted from its own beginning", {{'L', 3}, {'q', 25}, {'q', 20}, {'L', 3}, {'q', 24}},
            {{{0, 27}}}, {{48, 74}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        // Blocks of one sample, which tells the block's index and is negative when it is loud.
        std::vector<std::vector<int>> segments;
        CaptureContext context(threshold, nullptr, [&](const float* samples, std::size_t count) {
            auto& segment = segments.emplace_back();
            for (std::size_t i = 0; i < count; ++i)
                segment.push_back(static_cast<int>(std::lround(std::abs(samples[i]) * 10000)) % 1000);
        });
        int index = 0;
        for (const auto& [kind, count] : c.blocks)
            for (int i = 0; i < count; ++i) {
                const float sample = static_cast<float>(index++) / 10000;
                const float loud = -sample - 0.1F;
                context.process(kind == 'L' ? &loud : &sample, 1);
            }
        std::vector<std::vector<int>> expected;
        for (const auto& ranges : c.segments)
            expected.push_back(indices(ranges));
        EXPECT_EQ(segments, expected);
        context.flush();
        if (!c.rest.empty())
            expected.push_back(indices(c.rest));
        EXPECT_EQ(segments, expected);
    }
}

TEST(CaptureContext, DropsASegmentOfLessThanTenBlocksOfTheSizeThatEndsIt)
{
    std::vector<std::size_t> lengths;
    CaptureContext context(threshold, nullptr, [&](const float*, std::size_t count) { lengths.push_back(count); });
    const std::vector<float> loud(1, 1.0F);
    const std::vector<float> quiet(512, 0.0F);
    const auto speak = [&](std::size_t lastBlock) {
        for (int i = 0; i < 3; ++i)
            context.process(loud.data(), loud.size());
        for (int i = 0; i < 24; ++i)
            context.process(quiet.data(), 1);
        context.process(quiet.data(), lastBlock);
    };
    speak(4); // 31 samples of 40
    speak(3); // 30 samples of 30
    context.flush();
    EXPECT_THAT(lengths, testing::ElementsAre(30));
}

TEST(CaptureContext, TakesABlockAtTheThresholdForQuiet)
{
    int segments = 0;
    CaptureContext context(threshold, nullptr, [&](const float*, std::size_t) { ++segments; });
    context.process(&threshold, 1); // the root mean square of one sample is exact
    context.flush();
    EXPECT_EQ(segments, 0);
    const float louder = std::nextafter(threshold, 1.0F);
    context.process(&louder, 1);
    context.flush();
    EXPECT_EQ(segments, 1);
}

} // namespace
} // namespace quillo

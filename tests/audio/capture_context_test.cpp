#include "audio/capture_context.h"

#include <gmock/gmock.h>

#include <cmath>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace quillo {
namespace {

constexpr float threshold = 0.05F;
constexpr std::size_t blockSize = 4;

/// Block indices from .first up to .second, both included.
using Range = std::pair<int, int>;

struct SegmentationCase {
    std::string name;
    std::vector<std::pair<char, int>> blocks; // 'L'oud or 'q'uiet, how many of them
    std::vector<std::vector<Range>> segments; // delivered while the blocks come
    std::vector<Range> rest; // delivered by the flush

    friend void PrintTo(const SegmentationCase& that, std::ostream* out) { *out << that.name; }
};

/// A block whose samples tell its index: above the threshold when loud, below otherwise.
std::vector<float> makeBlock(bool loud, int index)
{
    return std::vector<float>(blockSize, (loud ? 0.1F : 0.0F) + 0.0001F * static_cast<float>(index));
}

std::vector<float> makeBlocks(const std::vector<Range>& ranges, const std::vector<std::vector<float>>& blocks)
{
    std::vector<float> samples;
    for (const auto& [first, last] : ranges)
        for (int i = first; i <= last; ++i)
            samples.insert(
                samples.end(), blocks[static_cast<std::size_t>(i)].begin(), blocks[static_cast<std::size_t>(i)].end());
    return samples;
}

class Segmentation : public testing::TestWithParam<SegmentationCase> { };

TEST_P(Segmentation, CutsTheStream)
{
    std::vector<std::vector<float>> segments;
    CaptureContext context(threshold, nullptr,
        [&](const float* samples, std::size_t count) { segments.emplace_back(samples, samples + count); });

    std::vector<std::vector<float>> blocks;
    for (const auto& [kind, count] : GetParam().blocks)
        for (int i = 0; i < count; ++i) {
            blocks.push_back(makeBlock(kind == 'L', static_cast<int>(blocks.size())));
            context.process(blocks.back().data(), blockSize);
        }

    std::vector<std::vector<float>> expected;
    for (const auto& ranges : GetParam().segments)
        expected.push_back(makeBlocks(ranges, blocks));
    EXPECT_EQ(segments, expected);

    context.flush();
    if (!GetParam().rest.empty())
        expected.push_back(makeBlocks(GetParam().rest, blocks));
    EXPECT_EQ(segments, expected);
}

INSTANTIATE_TEST_SUITE_P(Streams, Segmentation,
    testing::Values(SegmentationCase{"silence", {{'q', 100}}, {}, {}},
        SegmentationCase{"closedByThe25thQuietBlock", {{'q', 2}, {'L', 3}, {'q', 30}}, {{{2, 29}}}, {}},
        SegmentationCase{"notClosedByThe24th", {{'L', 3}, {'q', 24}}, {}, {{0, 26}}},
        SegmentationCase{
            "loudBlockInTheTail", {{'L', 3}, {'q', 24}, {'L', 1}, {'q', 24}, {'L', 1}, {'q', 25}}, {{{0, 77}}}, {}},
        SegmentationCase{"toneThatNeverEnds", {{'L', 200}}, {}, {{0, 199}}},
        SegmentationCase{"onsetTooShort", {{'q', 1}, {'L', 2}, {'q', 100}}, {}, {{1, 2}}},
        SegmentationCase{"loneBlockGoesInFront", {{'L', 1}, {'q', 40}, {'L', 3}, {'q', 25}}, {{{0, 0}, {41, 68}}}, {}},
        SegmentationCase{"severalOnsetsPileUp", {{'L', 2}, {'q', 1}, {'L', 2}, {'q', 1}}, {}, {{0, 1}, {3, 4}}},
        SegmentationCase{"countingStartsAnew", {{'L', 3}, {'q', 25}, {'L', 2}, {'q', 1}, {'L', 3}, {'q', 25}},
            {{{0, 27}}, {{28, 29}, {31, 58}}}, {}},
        SegmentationCase{"tailIsCountedFromItsOwnBeginning", {{'L', 3}, {'q', 25}, {'q', 20}, {'L', 3}, {'q', 24}},
            {{{0, 27}}}, {{48, 74}}}),
    [](const auto& test) { return test.param.name; });

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

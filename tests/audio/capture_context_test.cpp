#include "audio/capture_context.h"

#include <gmock/gmock.h>

#include <cmath>
#include <string>
#include <vector>

namespace quillo {
namespace {

constexpr float threshold = 0.05F;

TEST(CaptureContext, CutsTheStreamIntoSegments)
{
    const struct {
        const char* name;
        std::vector<int> blocks; // how many loud ones, then how many quiet ones, and so on
        std::string segments; // first to last block of their unbroken stretches, delivered while the blocks come
        std::string rest; // delivered by the flush
    } cases[] = {
        {"silence", {0, 100}, "", ""},
        {"closed by the 25th quiet block", {0, 2, 3, 30}, "2-29.", ""},
        {"not closed by the 24th", {3, 24}, "", "0-26."},
        {"loud block in the tail", {3, 24, 1, 25}, "0-52.", ""},
        {"onset too short", {0, 1, 2, 100}, "", "1-2."},
        {"lone block goes in front", {1, 40, 3, 25}, "0-0,41-68.", ""},
        {"several onsets pile up", {2, 1, 2, 1}, "", "0-1,3-4."},
        {"counting starts anew", {3, 25, 2, 1, 3, 25}, "0-27.28-29,31-58.", ""},
        {"the tail is counted from its own beginning", {3, 45, 3, 24}, "0-27.", "48-74."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string segments;
        // Blocks of one sample, which tells the block's index and is negative when it is loud.
        CaptureContext context(threshold, nullptr, [&](const float* samples, std::size_t count) {
            int last = -1;
            for (std::size_t i = 0; i < count; ++i) {
                const int index = static_cast<int>(std::lround(std::abs(samples[i]) * 10000)) % 1000;
                if (i == 0 || index != last + 1)
                    segments += (i == 0 ? "" : std::to_string(last) + ",") + std::to_string(index) + "-";
                last = index;
            }
            segments += std::to_string(last) + ".";
        });
        int index = 0;
        for (std::size_t run = 0; run < c.blocks.size(); ++run)
            for (int i = 0; i < c.blocks[run]; ++i) {
                const float quiet = static_cast<float>(index++) / 10000;
                const float sample = run % 2 == 0 ? -quiet - 0.1F : quiet;
                context.process(&sample, 1);
            }
        EXPECT_EQ(segments, c.segments);
        context.flush();
        EXPECT_EQ(segments, c.segments + c.rest);
    }
}

TEST(CaptureContext, DropsASegmentOfLessThanTenBlocksOfTheSizeThatEndsIt)
{
    std::vector<std::size_t> lengths;
    CaptureContext context(threshold, nullptr, [&](const float*, std::size_t count) { lengths.push_back(count); });
    for (const std::size_t lastBlock : {4U, 3U}) { // 31 samples of 40, 30 samples of 30
        const std::vector<float> quiet(lastBlock);
        const float loud = 1.0F;
        for (int i = 0; i < 3 + 24; ++i)
            context.process(i < 3 ? &loud : quiet.data(), 1);
        context.process(quiet.data(), lastBlock);
    }
    context.flush();
    EXPECT_THAT(lengths, testing::ElementsAre(30));
}

TEST(CaptureContext, TakesABlockAtTheThresholdForQuiet)
{
    std::vector<float> heard;
    CaptureContext context(threshold, nullptr, [&](const float* sample, std::size_t) { heard.push_back(*sample); });
    const float louder = std::nextafter(threshold, 1.0F);
    for (const float& sample : {threshold, louder}) { // the root mean square of one sample is exact
        context.process(&sample, 1);
        context.flush();
    }
    EXPECT_THAT(heard, testing::ElementsAre(louder));
}

} // namespace
} // namespace quillo

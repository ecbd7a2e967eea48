#include "fuzz/fuzzing.h"

#include "audio/capture_context.h"
#include "audio/level.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstring>

namespace quillo {
namespace {

using fuzz::require;
using Samples = std::vector<float>;

constexpr std::size_t maxBlockSize = 32;

/// Compares the bits, so that what is not a number equals itself.
bool same(const Samples& a, const Samples& b)
{
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0);
}

/// The segments of a stream, told from the history of its blocks.
class Model {
public:
    void take(const Samples& block, bool loud)
    {
        loudRun_ = loud ? loudRun_ + 1 : 0;
        quietRun_ = loud ? 0 : quietRun_ + 1;
        open_ = open_ || loudRun_ == 3;
        if (loud || open_)
            pending_.insert(pending_.end(), block.begin(), block.end());
        if (open_ && quietRun_ == 25) {
            if (pending_.size() < 10 * block.size())
                pending_.clear();
            end();
        }
    }

    void end()
    {
        if (!pending_.empty())
            segments_.push_back(std::move(pending_));
        pending_.clear();
        open_ = false;
        loudRun_ = 0;
    }

    const std::vector<Samples>& segments() const { return segments_; }

private:
    Samples pending_;
    std::vector<Samples> segments_;
    bool open_ = false;
    int loudRun_ = 0;
    int quietRun_ = 0;
};

} // namespace
} // namespace quillo

/// The input's first byte is the sensitivity. Then come blocks: a byte for the length, one for how often the block
/// comes, and how: as samples that follow, or at a level that a microphone might have.
void quillo::fuzz::tryInput(const std::string& input)
{
    FuzzedDataProvider stream(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
    const auto nextByte = [&stream] { return stream.ConsumeBytes<std::uint8_t>(1).front(); };
    if (input.empty())
        return;
    const float threshold = CaptureContext::thresholdFor(static_cast<float>(nextByte()) / 255.0F);
    require(threshold >= 0.002F && threshold <= 0.05F + 1e-6F, "thresholds lie in their range");
    Samples heard;
    std::vector<Samples> segments;
    CaptureContext context(
        threshold,
        [&](const float* samples, std::size_t count) { heard.insert(heard.end(), samples, samples + count); },
        [&](const float* samples, std::size_t count) { segments.emplace_back(samples, samples + count); });

    Model model;
    while (stream.remaining_bytes() >= 2) {
        Samples block(nextByte() % (maxBlockSize + 1));
        const unsigned how = nextByte();
        if ((how & 32U) != 0 && !block.empty())
            stream.ConsumeData(block.data(), block.size() * sizeof(float));
        else
            std::fill(block.begin(), block.end(), how & 64U ? 0.5F : 0.001F);
        const int level = blockLevel(block.data(), block.size());
        require(level >= 0 && level <= 100, "levels lie in their range");
        const bool loud = blockRms(block.data(), block.size()) > static_cast<double>(threshold);
        for (unsigned times = 0; times <= (how & 31U); ++times) {
            heard.clear();
            context.process(block.data(), block.size());
            require(same(heard, block), "every sample is handed on");
            model.take(block, loud);
        }
    }
    context.flush();
    model.end();
    require(std::equal(segments.begin(), segments.end(), model.segments().begin(), model.segments().end(), same),
        "segments hold exactly the samples that belong to them");
}

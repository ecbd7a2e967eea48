#include "fuzz/fuzzing.h"

#include "audio/capture_context.h"
#include "audio/level.h"

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

/// Blocks out of the input. Each begins with a byte for its length and one for how often it comes, and how; samples are
/// taken as they are, or brought to a level that a microphone might have.
class Stream {
public:
    Stream(const std::uint8_t* data, std::size_t size)
        : data_(data)
        , size_(size)
    {
    }

    bool next(Samples& block, int& times)
    {
        if (size_ < 2)
            return false;
        block.assign(data_[0] % (maxBlockSize + 1), 0.0F);
        times = data_[1] & 31;
        const bool asTheyAre = data_[1] & 32;
        const float level = data_[1] & 64 ? 0.5F : 0.001F;
        skip(2);
        const std::size_t bytes = std::min(size_, block.size() * sizeof(float));
        if (asTheyAre && bytes > 0)
            std::memcpy(block.data(), data_, bytes);
        if (asTheyAre)
            skip(bytes);
        else
            std::fill(block.begin(), block.end(), level);
        return true;
    }

private:
    void skip(std::size_t count)
    {
        data_ += count;
        size_ -= count;
    }

    const std::uint8_t* data_;
    std::size_t size_;
};

} // namespace
} // namespace quillo

/// The input's first byte is the sensitivity, the rest a stream.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace quillo;
    if (size == 0)
        return 0;
    const float threshold = CaptureContext::thresholdFor(static_cast<float>(data[0]) / 255.0F);
    require(threshold >= 0.002F && threshold <= 0.05F + 1e-6F, "thresholds lie in their range");
    Samples heard;
    std::vector<Samples> segments;
    CaptureContext context(
        threshold,
        [&](const float* samples, std::size_t count) { heard.insert(heard.end(), samples, samples + count); },
        [&](const float* samples, std::size_t count) { segments.emplace_back(samples, samples + count); });

    Model model;
    Stream stream(data + 1, size - 1);
    Samples block;
    for (int times = 0; stream.next(block, times);) {
        const int level = blockLevel(block.data(), block.size());
        require(level >= 0 && level <= 100, "levels lie in their range");
        const bool loud = blockRms(block.data(), block.size()) > static_cast<double>(threshold);
        for (; times >= 0; --times) {
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
    return 0;
}

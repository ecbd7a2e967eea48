#include "audio/capture_context.h"

#include "audio/level.h"
#include "base/sample_format.h"

#include <utility>

namespace quillo {

namespace {

constexpr int loudBlocksToOpen = 3;
constexpr int silentBlocksToClose = 25;
constexpr std::size_t minimumSegmentBlocks = 10;
constexpr std::size_t reservedSamples = std::size_t{30} * samplesPerSecond; // so long without an allocation

} // namespace

CaptureContext::CaptureContext(float threshold, SamplesCallback onAudio, SamplesCallback onSegment)
    : threshold_(threshold)
    , onAudio_(std::move(onAudio))
    , onSegment_(std::move(onSegment))
{
    if (onSegment_)
        segment_.reserve(reservedSamples);
}

void CaptureContext::process(const float* samples, std::size_t count)
{
    if (onAudio_)
        onAudio_(samples, count);
    if (!onSegment_)
        return;
    const bool loud = blockRms(samples, count) > static_cast<double>(threshold_);
    const std::lock_guard lock(mutex_);
    detect(loud, samples, count);
}

void CaptureContext::detect(bool loud, const float* samples, std::size_t count)
{
    if (loud) {
        ++loudBlocks_;
        silentBlocks_ = 0;
        speaking_ = speaking_ || loudBlocks_ == loudBlocksToOpen;
    } else {
        loudBlocks_ = 0;
        if (speaking_)
            ++silentBlocks_;
    }
    if (speaking_ || loudBlocks_ > 0)
        segment_.insert(segment_.end(), samples, samples + count);
    if (speaking_ && silentBlocks_ == silentBlocksToClose)
        closeSegment(minimumSegmentBlocks * count);
}

void CaptureContext::closeSegment(std::size_t minimumLength)
{
    if (segment_.size() >= minimumLength)
        onSegment_(segment_.data(), segment_.size());
    segment_.clear();
    speaking_ = false;
    silentBlocks_ = 0;
    loudBlocks_ = 0;
}

void CaptureContext::flush()
{
    const std::lock_guard lock(mutex_);
    if (!segment_.empty())
        closeSegment(0);
}

} // namespace quillo

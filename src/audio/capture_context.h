#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <vector>

namespace quillo {

/// What one capture does with its blocks: hands each to the consumer and cuts speech segments out of the stream.
///
/// A block is loud when its RMS is above the threshold. Three loud blocks in a row open a segment, 25 quiet ones in a
/// row close it. Loud blocks that came before the segment opened stand in front of it, also those of an earlier run
/// that was too short to open one.
class CaptureContext {
public:
    /// Receives samples that are valid only during the call.
    using SamplesCallback = std::function<void(const float* samples, std::size_t count)>;

    /// The threshold for a sensitivity of 0.0 to 1.0. A higher sensitivity asks for a louder signal.
    static constexpr float thresholdFor(float sensitivity) { return 0.002F + 0.048F * sensitivity; }

    CaptureContext(float threshold, SamplesCallback onAudio, SamplesCallback onSegment);

    /// Takes the next block; the audio thread. Calls onAudio without the lock, onSegment with it.
    void process(const float* samples, std::size_t count);

    /// Delivers what has been collected for an open or coming segment, however short. Any thread; at the end of the
    /// capture.
    void flush();

private:
    void detect(bool loud, const float* samples, std::size_t count);
    void closeSegment(std::size_t minimumLength);

    const float threshold_;
    const SamplesCallback onAudio_;
    const SamplesCallback onSegment_;

    std::mutex mutex_; // guards what follows
    bool speaking_ = false;
    int silentBlocks_ = 0; // since the last loud block of an open segment
    int loudBlocks_ = 0; // in a row
    std::vector<float> segment_;
};

} // namespace quillo

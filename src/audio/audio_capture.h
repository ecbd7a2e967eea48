#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace quillo {

/// The microphone: lists the input devices and records from one of them, 32-bit float samples, one channel, 16,000 a
/// second, in blocks of 512.
///
/// The first object in the process initialises PortAudio and the last one terminates it; the list of devices is the
/// one of that moment. Objects may live on different threads; the calls to one object come from one thread at a time.
/// Failures are return values and are not logged.
class AudioCapture {
public:
    /// Receives samples that are valid only during the call.
    using SamplesCallback = std::function<void(const float* samples, std::size_t count)>;

    AudioCapture();
    ~AudioCapture(); ///< stops a running capture as stopCapture() does
    AudioCapture(const AudioCapture&) = delete;
    AudioCapture& operator=(const AudioCapture&) = delete;

    /// Identifier and display name (UTF-8) of every input device, in PortAudio's order. One microphone can appear once
    /// for each host API.
    std::vector<std::pair<std::string, std::string>> listInputDevices() const;

    /// The device of the next capture: an identifier from the list. An empty one, or one that is not a number, means
    /// the system's default input device.
    void setDeviceId(const std::string& id);

    /// How loud a block must be to count as speech in the next capture, clamped to 0.0 (RMS 0.002) to 1.0 (RMS 0.05).
    void setVadSensitivity(float value);

    /// Starts recording, after stopCapture(). False when the device is missing or refuses; the callbacks have then
    /// been released and are never called.
    /// @param onAudio receives every block on the audio thread; must be quick.
    /// @param onSegment receives each stretch of speech, on the audio thread or on the one that stops the capture; must
    ///        not call this object. Without it no speech is looked for.
    bool startCapture(SamplesCallback onAudio, SamplesCallback onSegment);

    /// Ends the recording: waits for a running callback, delivers the pending segment and releases the callbacks.
    /// Does nothing when no capture runs.
    void stopCapture();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace quillo

#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace quillo {

/// The microphone: lists the input devices, records from one of them, and measures how loud one of them is for a test
/// by the user. Samples are 32-bit floats, one channel, 16,000 a second, in blocks of 512.
///
/// The first object that is used initialises PortAudio, and the last one to go terminates it; the list of devices is
/// the one of the beginning. Objects may live on different threads; the calls to one object come from one thread at a
/// time, except that startTest and stopTest may run beside stopCapture. Failures are return values and are not logged.
///
/// A sound system that hangs keeps nobody longer than a few seconds: a start fails, a stop leaves the stream behind,
/// without its callbacks. Until the sound system goes on, calls no longer wait for it, and every start fails.
class AudioCapture {
public:
    /// Receives samples that are valid only during the call.
    using SamplesCallback = std::function<void(const float* samples, std::size_t count)>;

    /// Receives the loudness of a block: 0 is silence, 100 an RMS of 0.2 or more, linear.
    using LevelCallback = std::function<void(int level)>;

    AudioCapture();
    ~AudioCapture(); ///< stops a running test and a running capture as stopTest() and stopCapture() do
    AudioCapture(const AudioCapture&) = delete;
    AudioCapture& operator=(const AudioCapture&) = delete;

    /// Begins to initialise PortAudio, which takes 10 to 200 ms on a thread of its own. The other calls do it where
    /// needed, and wait: this one is for a moment when nobody needs it yet.
    void initialise();

    /// Identifier and display name (UTF-8) of every input device, in PortAudio's order. One microphone can appear once
    /// for each host API.
    std::vector<std::pair<std::string, std::string>> listInputDevices();

    /// The device of the next capture: an identifier from the list. An empty one, or one that is not a number, means
    /// the system's default input device.
    void setDeviceId(const std::string& id);

    /// How loud a block must be to count as speech in the next capture, clamped to 0.0 (RMS 0.002) to 1.0 (RMS 0.05).
    void setVadSensitivity(float value);

    /// Starts recording, after stopCapture(). False when the device is missing, refuses or hangs; the callbacks have
    /// then been released and are never called.
    /// @param onAudio receives every block on the audio thread; must be quick.
    /// @param onSegment receives each stretch of speech, on the audio thread or on the one that stops the capture; must
    ///        not call this object. Without it no speech is looked for.
    bool startCapture(SamplesCallback onAudio, SamplesCallback onSegment);

    /// Ends the recording: waits for a running callback, delivers the pending segment and releases the callbacks.
    /// Does nothing when no capture runs.
    void stopCapture();

    /// Measures a device, after stopTest(), whether or not a capture runs and whatever setDeviceId() was given. False
    /// when the device is missing, refuses or hangs; the callback has then been released and is never called.
    /// @param deviceId as for setDeviceId()
    /// @param onLevel receives the level of every block on the audio thread; must be quick.
    bool startTest(const std::string& deviceId, LevelCallback onLevel);

    /// Ends the test: waits for a running callback and releases it. Does nothing when no test runs.
    void stopTest();

    /// Whether PortAudio is still at work for any object; if none lives any more, it hangs. The process must then not
    /// leave through exit() or the end of main(), which would take the libraries away from it, but through
    /// std::_Exit(). Any thread.
    static bool libraryInUse();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace quillo

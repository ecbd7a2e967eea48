#pragma once

#include <cstddef>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace quillo {

/// The microphone: lists the input devices, records from one of them, and measures how loud one of them is for a test
/// by the user. Samples come as base/sample_format.h describes them.
///
/// The first object that is used initialises PortAudio, and the last one to go terminates it. The list of devices is
/// that of the last initialisation, which is repeated while no device is open: by refreshDevices(), and when the system
/// has changed or a device cannot be opened. Each list has numbers of its own; a device that was chosen from one that
/// has been given out, or of the first, is found again by its name.
///
/// Objects may live on different threads; the calls to one object come from one thread at a time, except that
/// stopCapture may run beside all others but startCapture. Failures are return values.
///
/// PortAudio is called on a thread of its own: a sound system that is slow or hangs keeps a caller no longer than a few
/// seconds, and one that records not at all.
class AudioCapture {
public:
    /// Receives samples that are valid only during the call.
    using SamplesCallback = std::function<void(const float* samples, std::size_t count)>;

    /// Receives the loudness of a block: 0 is silence, 100 an RMS of 0.2 or more, linear.
    using LevelCallback = std::function<void(int level)>;

    AudioCapture();
    ~AudioCapture(); ///< as stopTest() and stopCapture(); waits until PortAudio is terminated, 3 s at most
    AudioCapture(const AudioCapture&) = delete;
    AudioCapture& operator=(const AudioCapture&) = delete;

    /// Begins to initialise PortAudio, which takes 10 to 200 ms. The other calls do it where needed: this one is for a
    /// moment when nobody needs it yet.
    void initialise();

    /// Identifier and display name (UTF-8) of every input device, in PortAudio's order. One microphone can appear once
    /// for each host API. Waits until PortAudio is initialised, 3 s at most.
    std::vector<std::pair<std::string, std::string>> listInputDevices();

    /// Has the devices read anew for the next list. Waits for that, 3 s at most; false when it has not happened, as
    /// while a capture or a test runs.
    bool refreshDevices();

    /// The device of the next capture: an identifier from the list that was given out last, or else from the first. An
    /// empty one, or one that is not a number, means the system's default input device.
    void setDeviceId(const std::string& id);

    /// The identifier that the device of setDeviceId() has in the list that was given out last; empty when it is not in
    /// there any more. Any other identifier stays as it is.
    std::string listedId(const std::string& id) const;

    /// How loud a block must be to count as speech in the next capture, clamped to 0.0 (RMS 0.002) to 1.0 (RMS 0.05).
    void setVadSensitivity(float value);

    /// Starts recording, after stopCapture(), and does not wait for it: a device that takes long to open, such as a
    /// headset that must wake up, delivers as soon as it can. One whose capture has ended by then is not opened.
    /// @param onAudio receives every block on the audio thread; must be quick.
    /// @param onSegment receives each stretch of speech, on the audio thread or on the one that stops the capture; must
    ///        not call this object. Without it no speech is looked for.
    /// @return whether the device has been opened. False when it is missing or refuses; the callbacks have then been
    ///         released and are never called.
    std::future<bool> startCapture(SamplesCallback onAudio, SamplesCallback onSegment);

    /// Ends the recording: waits for a running callback, delivers the pending segment and releases the callbacks. The
    /// device is closed after that, and nobody waits for it. Does nothing when no capture runs.
    void stopCapture();

    /// Measures a device, after stopTest(), whether or not a capture runs and whatever setDeviceId() was given. False
    /// when the device is missing, refuses or has not been opened after 3 s; the callback has then been released and is
    /// never called.
    /// @param deviceId as for setDeviceId()
    /// @param onLevel receives the level of every block on the audio thread; must be quick.
    bool startTest(const std::string& deviceId, LevelCallback onLevel);

    /// Ends the test as stopCapture() ends a recording. Does nothing when no test runs.
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

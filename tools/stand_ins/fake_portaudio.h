#pragma once

#include <portaudio.h>

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace quillo::test {

/// A device as the fake sound card lists it.
struct FakeDevice {
    std::optional<std::string> name = "Microphone"; ///< nothing gives a null pointer
    int inputChannels = 1;
    double lowInputLatency = 0.01;
    bool hasInfo = true; ///< whether PortAudio has information about it at all
};

/// With what a stream was opened.
struct FakeOpenRequest {
    PaStreamParameters input{};
    bool hasOutput = false;
    double sampleRate = 0.0;
    unsigned long framesPerBuffer = 0;
    PaStreamFlags flags = 0;
};

enum class PaCall { Initialize, Terminate, OpenStream, StartStream, StopStream, CloseStream };

/// The sound card behind the Pa_ functions of a test program: link `fake_portaudio` and the real library is out of the
/// way. Any thread. Call reset() at the beginning of every test.
class FakePortAudio {
public:
    static FakePortAudio& instance();

    /// One microphone, which is the default; no failures, nothing hangs, all counts 0. No stream may be open.
    void reset();

    /// What there is from now on. As in the real library, a program knows of it when it initialises PortAudio anew.
    void setDevices(std::vector<FakeDevice> devices, PaDeviceIndex defaultInput);

    /// Makes a call fail from now on; paNoError makes it work again.
    void fail(PaCall call, PaError error = paUnanticipatedHostError);

    /// Keeps a call from returning, and from doing anything, until resume(); the program is ended after a minute of it.
    void hang(PaCall call);
    void resume();

    /// How often a call was made, failed ones included.
    int count(PaCall call) const;

    std::size_t openStreams() const;
    std::size_t runningStreams() const;

    /// The parameters of the last Pa_OpenStream.
    FakeOpenRequest lastOpenRequest() const;

    /// Plays samples to every running stream, on the calling thread, in blocks of the size that the stream asked for
    /// (the last one may be shorter). A Pa_StopStream meanwhile waits for the block in progress and ends the delivery,
    /// as the real one does. Returns how many streams heard the samples to the end.
    std::size_t push(std::span<const float> samples);

    /// Calls every running stream with a null input of 512 frames.
    void pushNull();

private:
    FakePortAudio() { reset(); }
};

} // namespace quillo::test

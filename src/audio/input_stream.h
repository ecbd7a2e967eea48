#pragma once

#include <portaudio.h>

#include <cstddef>
#include <functional>

namespace quillo {

/// A PortAudio input stream in Quillo's format: one channel of 32-bit float samples, 16,000 a second, in blocks of 512
/// frames. It runs from a successful open() until close() or the destructor. One thread at a time; objects are
/// independent of each other.
class InputStream {
public:
    /// Receives every block, on PortAudio's thread. Samples are valid only during the call.
    using BlockCallback = std::function<void(const float* samples, std::size_t count)>;

    InputStream() = default;
    ~InputStream();
    InputStream(const InputStream&) = delete;
    InputStream& operator=(const InputStream&) = delete;

    /// Opens and starts the stream, which must not be open. False, with nothing left open and the callback released,
    /// when the device does not exist, has no input or refuses.
    bool open(PaDeviceIndex device, BlockCallback onBlock);

    /// Waits until a running callback has returned, closes the stream and releases the callback. Nothing when it is
    /// not open.
    void close();

private:
    bool start(PaDeviceIndex device);
    static int receive(const void* input, void* output, unsigned long frames, const PaStreamCallbackTimeInfo* time,
        PaStreamCallbackFlags flags, void* self);

    PaStream* stream_ = nullptr;
    BlockCallback onBlock_;
};

} // namespace quillo

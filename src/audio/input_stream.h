#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace quillo {

/// A PortAudio input stream in Quillo's format: one channel of 32-bit float samples, 16,000 a second, in blocks of 512
/// frames. It runs from a successful open() until close() or the destructor. PortAudio must be initialised. One thread
/// at a time; objects are independent of each other.
///
/// No call waits for a sound server that hangs: a stream that cannot be closed in time is left to PortAudio's thread,
/// and until that is through no stream can be opened.
class InputStream {
public:
    /// Receives every block, on a thread of PortAudio. Samples are valid only during the call.
    using BlockCallback = std::function<void(const float* samples, std::size_t count)>;

    InputStream() = default;
    ~InputStream();
    InputStream(const InputStream&) = delete;
    InputStream& operator=(const InputStream&) = delete;

    /// Opens and starts the stream, which must not be open. False, with nothing left open and the callback released,
    /// when the device does not exist, has no input, refuses or hangs.
    /// @param deviceId as for AudioCapture::setDeviceId()
    /// @param onBlock not empty
    bool open(std::string deviceId, BlockCallback onBlock);

    /// Waits until a running callback has returned, closes the stream and releases the callback. Nothing when it is
    /// not open.
    void close();

private:
    class Line;
    std::shared_ptr<Line> line_; ///< shared with PortAudio's thread
};

} // namespace quillo

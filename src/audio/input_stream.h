#pragma once

#include "audio/device_list.h"

#include <cstddef>
#include <functional>
#include <future>
#include <memory>

namespace quillo {

/// A PortAudio input stream in Quillo's format (base/sample_format.h). The sound system must have a user. One thread at
/// a time; objects are independent of each other.
///
/// No call waits for the sound system: streams are opened and closed in the order of the calls, as soon as it can.
class InputStream {
public:
    /// Receives every block, on a thread of PortAudio. Samples are valid only during the call.
    using BlockCallback = std::function<void(const float* samples, std::size_t count)>;

    InputStream() = default;
    ~InputStream(); ///< as close()
    InputStream(const InputStream&) = delete;
    InputStream& operator=(const InputStream&) = delete;

    /// Begins to open and start the stream, after close(). However late that succeeds, it delivers until close(); what
    /// is closed before its turn is not opened at all.
    /// @param onBlock not empty
    /// @return whether it has been opened; once it says no, the callback has been released
    std::future<bool> open(ChosenDevice device, BlockCallback onBlock);

    /// Waits until a running callback has returned, releases it, and leaves the stream to be closed. Nothing when it is
    /// not open.
    void close();

private:
    class Shared;
    std::shared_ptr<Shared> shared_; ///< shared with PortAudio's thread
};

} // namespace quillo

#pragma once

#include <functional>
#include <memory>

namespace quillo::platform {

/// Turns the system's requests to end the process (SIGINT, SIGTERM) into a call on the thread that created the object,
/// out of that thread's Qt event loop. Where a window system reports the end of a session only through the toolkit,
/// nothing is called. Where a write to a broken connection raises a signal (SIGPIPE), it is an error value from then
/// on. User-interface thread only; at most one object at a time.
class TerminationRequests {
public:
    explicit TerminationRequests(std::function<void()> onRequest);
    ~TerminationRequests();
    TerminationRequests(const TerminationRequests&) = delete;
    TerminationRequests& operator=(const TerminationRequests&) = delete;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace quillo::platform

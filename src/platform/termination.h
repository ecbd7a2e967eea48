#pragma once

#include <functional>
#include <memory>

namespace quillo::platform {

/// Turns the system's requests to end the process (SIGINT, SIGTERM) into a call on the thread that created the object,
/// out of that thread's Qt event loop. Where a window system reports the end of a session only through the toolkit,
/// nothing is called. From then on a broken connection is an error value and no signal. User-interface thread only; at most one object at a time.
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

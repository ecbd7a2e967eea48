#pragma once

#include <functional>
#include <memory>

namespace quillo::platform {

/// Turns the system's requests to end the process into a call on the thread that created the object, out of that
/// thread's event loop: the end of the session, and what asks a single program to end (SIGINT and SIGTERM; on Windows
/// WM_CLOSE to the hidden window of class "QuilloTermination", and Ctrl+C in the console that the program was started
/// from or the end of that console). At the end of a session the process may be gone as soon as the call returns, and
/// before that if the call takes longer than the system cares to wait. Where a write to a broken connection raises a
/// signal (SIGPIPE), it is an error value from then on. User-interface thread only; at most one object at a time.
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

#pragma once

#include <functional>
#include <memory>

namespace quillo::platform {

/// What the system's requests lead to.
struct TerminationActions {
    /// The session may end, but that can be taken back: what must not be lost is finished, and work goes on.
    std::function<void()> finishWork;
    /// The process is to end. May be called again while it does.
    std::function<void()> end;
};

/// Turns the system's requests to end the process into calls on the thread that created the object, out of that
/// thread's event loop. Before the session ends, or when it is only to be saved, work is finished. Its end, and what
/// asks a single program to end, end the process: SIGINT, SIGTERM and, unless it is ignored, SIGHUP; the loss of the
/// session manager; on Windows WM_CLOSE to the hidden window of class "QuilloTermination", and Ctrl+C in the console
/// that the program was started from or the end of that console. At the end of a session the process may be gone as
/// soon as the call returns, and before that if the call takes longer than the system cares to wait. The toolkit leaves
/// its event loop by itself when a session manager of X11 tells it to.
///
/// Once there has been an object, such a signal does nothing by itself any more, not even while the process ends, and
/// where a write to a broken connection raises one (SIGPIPE), it is an error value. User-interface thread only; at most
/// one object at a time.
class TerminationRequests {
public:
    explicit TerminationRequests(TerminationActions actions);
    ~TerminationRequests();
    TerminationRequests(const TerminationRequests&) = delete;
    TerminationRequests& operator=(const TerminationRequests&) = delete;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace quillo::platform

#pragma once

#include "platform/x11/selection_server.h"

#include <mutex>
#include <string>
#include <thread>

namespace quillo::platform::x11 {

/// The program's ownership of the CLIPBOARD selection, kept by a thread of its own that answers the requests of
/// pasting applications: so it never depends on the user-interface thread.
///
/// The thread exists from the first setText() until handOver() or destruction, and is started anew when it has lost its
/// connection. Any thread.
class SelectionOwner {
public:
    SelectionOwner() = default;
    ~SelectionOwner();
    SelectionOwner(const SelectionOwner&) = delete;
    SelectionOwner& operator=(const SelectionOwner&) = delete;

    /// Returns once the server has confirmed that the clipboard is ours, with this text; false when it is not.
    bool setText(const std::string& utf8);

    /// A paste shortcut is about to be sent: the next delivery of the text is its answer.
    void expectPaste();

    /// Waits for an expected paste to be served, hands the text to a clipboard manager if there is one, and ends the
    /// thread. Takes about two seconds at most.
    void handOver();

private:
    template<class Condition> bool await(std::unique_lock<std::mutex>& lock, Condition condition);
    bool place(const std::string& utf8);
    bool hasEnded();
    void restartThread();
    void stopThread();

    std::mutex callers_; // one setText() or handOver() at a time
    SharedSelection shared_;
    std::thread thread_;
};

} // namespace quillo::platform::x11

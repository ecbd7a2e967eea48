#pragma once

#include "platform/x11/display.h"
#include "platform/x11/event_fd.h"

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace quillo::platform::x11 {

/// What a SelectionOwner and its thread tell each other.
struct SharedSelection {
    std::mutex mutex; ///< guards what follows, except `wake`
    std::condition_variable changed; ///< after each change by the serving thread
    EventFd wake; ///< to be signalled after each change by the owner

    std::shared_ptr<const std::string> text; ///< to be placed; empty again once that is done or has failed
    bool handOver = false; ///< to be handed to a clipboard manager; false again once that is done or has failed
    bool stop = false;

    bool owned = false; ///< the selection is ours
    bool pasteExpected = false; ///< set by the owner, cleared when the text has been delivered or cannot be any more
    bool ended = true; ///< the thread serves no more
};

/// Owns the CLIPBOARD selection on a connection of its own and delivers the text to whoever asks: as UTF-8, or
/// as Latin-1 with question marks for what that lacks. It goes in one piece, so a text of more than about 16 MB is
/// refused. One thread.
class SelectionServer {
public:
    /// Does what the owner asks until told to stop or the connection is lost. Returns after marking the service ended.
    static void serve(SharedSelection& shared);

private:
    enum Name : std::size_t {
        Clipboard,
        Manager,
        SaveTargets,
        Targets,
        Multiple,
        AtomPair,
        Timestamp,
        Utf8String,
        PlainUtf8,
        Plain,
        Scratch,
        nameCount
    };
    using Text = std::shared_ptr<const std::string>;

    explicit SelectionServer(SharedSelection& shared);
    void run();
    void doAsTold();
    void dispatch(XEvent& event);
    void claim(Time time);
    void handOver();
    void handedOver();
    void answer(const XSelectionRequestEvent& request);
    bool convert(Window requestor, Atom target, Atom property);
    bool convertMultiple(Window requestor, Atom property);
    bool convertText(Window requestor, Atom target, Atom property);
    void textDelivered();
    void setProperty(Window window, Atom property, Atom type, const std::vector<unsigned long>& values);
    void setText(Window window, Atom property, Atom type, const std::string& bytes);

    Atom operator[](Name name) const { return names_[name]; }

    SharedSelection& shared_;
    Connection connection_;
    Atom names_[nameCount]{};
    Window window_ = None;
    Text text_; // null while the selection is not ours
    Time ownedSince_ = CurrentTime;
    std::size_t largestText_ = 0; // in bytes
};

} // namespace quillo::platform::x11

#pragma once

#include <functional>
#include <memory>

class QObject;

namespace quillo {

/// The way back to a widget for threads that may outlive it. Made and destroyed on the user-interface thread, as a
/// member of the receiver; what is posted runs there later, unless the receiver has gone.
class WidgetMailbox {
    struct State;

public:
    /// Where to post. Copies go to any thread and may outlive the mailbox.
    class Address {
    public:
        /// Runs the action on the user-interface thread, or drops it when the mailbox is gone by then.
        void post(std::function<void()> action) const;

    private:
        friend class WidgetMailbox;
        std::shared_ptr<State> state_;
    };

    explicit WidgetMailbox(QObject* receiver);
    ~WidgetMailbox();
    WidgetMailbox(const WidgetMailbox&) = delete;
    WidgetMailbox& operator=(const WidgetMailbox&) = delete;

    Address address() const { return address_; }

private:
    Address address_;
};

} // namespace quillo

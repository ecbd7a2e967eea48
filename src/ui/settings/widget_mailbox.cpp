#include "ui/settings/widget_mailbox.h"

#include <QMetaObject>

#include <deque>
#include <mutex>
#include <utility>

namespace quillo {

struct WidgetMailbox::State {
    std::mutex mutex; ///< held while posting: the receiver cannot go meanwhile
    QObject* receiver; ///< null once the mailbox is gone
    std::deque<std::function<void()>> letters; ///< one for each event that is on its way

    void deliver();
};

void WidgetMailbox::State::deliver()
{
    std::unique_lock lock(mutex);
    const auto letter = std::move(letters.front());
    letters.pop_front();
    lock.unlock();
    letter();
}

WidgetMailbox::WidgetMailbox(QObject* receiver)
{
    address_.state_ = std::make_shared<State>();
    address_.state_->receiver = receiver;
}

// What has been posted already goes with the receiver itself.
WidgetMailbox::~WidgetMailbox()
{
    const std::lock_guard lock(address_.state_->mutex);
    address_.state_->receiver = nullptr;
}

void WidgetMailbox::Address::post(std::function<void()> action) const
{
    const std::lock_guard lock(state_->mutex);
    if (!state_->receiver)
        return;
    state_->letters.push_back(std::move(action));
    QMetaObject::invokeMethod(
        state_->receiver, [state = state_] { state->deliver(); }, Qt::QueuedConnection);
}

} // namespace quillo

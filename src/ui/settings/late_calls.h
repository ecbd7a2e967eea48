#pragma once

#include <QMetaObject>
#include <QObject>
#include <QThread>

#include <memory>
#include <utility>

namespace quillo {

/// The way back to a widget for threads that may outlive it. A member of the widget, made and destroyed on the
/// user-interface thread.
class LateCalls {
public:
    LateCalls() = default;
    ~LateCalls() { target_->isOpen = false; }
    LateCalls(const LateCalls&) = delete;
    LateCalls& operator=(const LateCalls&) = delete;

    /// Makes a function, to be called on any thread and at any time, that lets the action run later on the
    /// user-interface thread. Once the widget has gone, nothing runs any more.
    template<typename Action> auto to(Action action) const
    {
        return [weak = std::weak_ptr(target_), action = std::move(action)](const auto&... arguments) {
            if (const auto target = weak.lock()) // lives until all is posted
                QMetaObject::invokeMethod(
                    target.get(),
                    [target = target.get(), action, arguments...] {
                        if (target->isOpen)
                            action(arguments...);
                    },
                    Qt::QueuedConnection);
        };
    }

private:
    struct Target : QObject {
        bool isOpen = true; ///< user-interface thread
    };

    // The last to let go may be a thread that is just posting.
    static void destroy(Target* target)
    {
        if (target->thread() == QThread::currentThread())
            delete target;
        else
            target->deleteLater();
    }

    const std::shared_ptr<Target> target_{new Target, destroy};
};

} // namespace quillo

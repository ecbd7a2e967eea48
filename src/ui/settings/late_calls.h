#pragma once

#include <QMetaObject>
#include <QObject>

#include <memory>
#include <mutex>
#include <utility>

namespace quillo {

/// The way back to a widget for threads that may outlive it. A member of the widget, made and destroyed on the
/// user-interface thread; its end waits for a call that is just being posted.
class LateCalls {
public:
    LateCalls() = default;
    ~LateCalls()
    {
        const std::lock_guard lock(way_->mutex);
        way_->target.reset(); // and with it what is posted
    }
    LateCalls(const LateCalls&) = delete;
    LateCalls& operator=(const LateCalls&) = delete;

    /// Makes a function, to be called on any thread and at any time, that lets the action run later on the
    /// user-interface thread. Once the widget has gone, nothing runs any more.
    template<typename Action> auto to(Action action) const
    {
        return [way = way_, action = std::move(action)](const auto&... arguments) {
            const std::lock_guard lock(way->mutex); // the toolkit may go soon after the widget
            if (way->target)
                QMetaObject::invokeMethod(
                    way->target.get(), [action, arguments...] { action(arguments...); }, Qt::QueuedConnection);
        };
    }

private:
    struct Way {
        std::mutex mutex; ///< guards what follows
        std::unique_ptr<QObject> target = std::make_unique<QObject>(); ///< none: the widget has gone
    };

    const std::shared_ptr<Way> way_ = std::make_shared<Way>();
};

} // namespace quillo

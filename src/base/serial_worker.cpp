#include "base/serial_worker.h"

#include <utility>

namespace quillo {

SerialWorker::SerialWorker()
    : thread_([this] { work(); })
{
}

SerialWorker::~SerialWorker()
{
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

std::future<void> SerialWorker::post(std::function<void()> action)
{
    Entry entry{std::move(action), {}};
    std::future<void> done = entry.done.get_future();
    {
        const std::lock_guard lock(mutex_);
        waiting_.push(std::move(entry));
    }
    changed_.notify_one();
    return done;
}

bool SerialWorker::isBusy() const
{
    const std::lock_guard lock(mutex_);
    return working_ || !waiting_.empty();
}

bool SerialWorker::waitForMore(std::chrono::milliseconds time)
{
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, time, [this] { return ending_ || !waiting_.empty(); });
}

void SerialWorker::work()
{
    std::unique_lock lock(mutex_);
    while (true) {
        changed_.wait(lock, [this] { return ending_ || !waiting_.empty(); });
        if (waiting_.empty())
            return;
        Entry entry = std::move(waiting_.front());
        waiting_.pop();
        working_ = true;
        lock.unlock();
        entry.action();
        entry.action = nullptr;
        lock.lock();
        working_ = false;
        entry.done.set_value();
    }
}

} // namespace quillo

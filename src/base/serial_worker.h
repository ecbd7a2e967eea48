#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <queue>
#include <thread>

namespace quillo {

/// Runs actions one after the other, in the order in which they were posted, on a thread of its own. Any thread may
/// post; actions must not throw.
class SerialWorker {
public:
    SerialWorker();
    ~SerialWorker(); ///< runs what has been posted; not on the worker's own thread
    SerialWorker(const SerialWorker&) = delete;
    SerialWorker& operator=(const SerialWorker&) = delete;

    /// The result is ready when the action has run and been destroyed. Who no longer waits for it may drop it: the
    /// action runs all the same, so it owns or shares what it touches.
    std::future<void> post(std::function<void()> action);

    /// Whether anything is left to be done.
    bool isBusy() const;

    /// For the action that runs: waits until another one is posted. False when none has been in the time.
    bool waitForMore(std::chrono::milliseconds time);

private:
    struct Entry {
        std::function<void()> action;
        std::promise<void> done;
    };

    void work();

    mutable std::mutex mutex_; // guards what follows but the thread
    std::condition_variable changed_;
    std::queue<Entry> waiting_;
    bool working_ = false; // an action runs
    bool ending_ = false;
    std::thread thread_; // last: it uses the others
};

} // namespace quillo

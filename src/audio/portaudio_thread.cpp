#include "audio/portaudio_thread.h"

#include "base/log.h"

#include <portaudio.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <queue>
#include <thread>
#include <utility>

namespace quillo {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto libraryPatience = 3s; // both ends take 10 to 200 ms

class Worker {
public:
    // Never destroyed, its thread never joined: a call that hangs may outlast main().
    static Worker& instance()
    {
        static Worker& worker = *new Worker;
        return worker;
    }

    PortAudioThread::Ticket post(std::function<void()> action, std::chrono::milliseconds patience)
    {
        const std::lock_guard lock(mutex_);
        if (done_ == posted_)
            deadline_ = Clock::now() + patience;
        waiting_.push({std::move(action), patience});
        changed_.notify_all();
        return ++posted_;
    }

    bool wait(PortAudioThread::Ticket ticket)
    {
        std::unique_lock lock(mutex_);
        while (done_ < ticket) {
            if (Clock::now() >= deadline_)
                return false;
            changed_.wait_until(lock, deadline_);
        }
        return true;
    }

    bool busy()
    {
        const std::lock_guard lock(mutex_);
        return done_ < posted_;
    }

private:
    struct Entry {
        std::function<void()> action;
        std::chrono::milliseconds patience;
    };

    Worker()
    {
        std::thread([this] { work(); }).detach();
    }

    void work()
    {
        std::unique_lock lock(mutex_);
        while (true) {
            changed_.wait(lock, [this] { return !waiting_.empty(); });
            Entry current = std::move(waiting_.front());
            waiting_.pop();
            deadline_ = Clock::now() + current.patience;
            lock.unlock();
            current.action();
            current.action = nullptr;
            lock.lock();
            ++done_;
            changed_.notify_all();
        }
    }

    std::mutex mutex_; // guards what follows
    std::condition_variable changed_;
    std::queue<Entry> waiting_;
    PortAudioThread::Ticket posted_ = 0;
    PortAudioThread::Ticket done_ = 0;
    Clock::time_point deadline_; // of the action that runs or is about to
};

int users = 0; // of the library; PortAudio's thread only

void addUser()
{
    if (users++ > 0)
        return;
    if (const PaError error = Pa_Initialize(); error != paNoError)
        logMessage("[Quillo] PortAudio could not be initialised: %s\n", Pa_GetErrorText(error));
}

void removeUser()
{
    if (--users == 0)
        Pa_Terminate();
}

} // namespace

PortAudioThread::Ticket PortAudioThread::post(std::function<void()> action, std::chrono::milliseconds patience)
{
    return Worker::instance().post(std::move(action), patience);
}

bool PortAudioThread::wait(Ticket ticket)
{
    return Worker::instance().wait(ticket);
}

bool PortAudioThread::run(std::function<void()> action, std::chrono::milliseconds patience)
{
    return wait(post(std::move(action), patience));
}

bool PortAudioThread::inUse()
{
    return Worker::instance().busy();
}

PortAudioLibrary::PortAudioLibrary()
    : initialised_(PortAudioThread::post(addUser, libraryPatience))
{
}

PortAudioLibrary::~PortAudioLibrary()
{
    PortAudioThread::run(removeUser, libraryPatience);
}

} // namespace quillo

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace quillo {

/// The one thread that calls PortAudio: the library is not made for several, and a sound server that hangs keeps hold
/// of its caller, whereas whoever waits for this thread can give up. Any thread but this one.
class PortAudioThread {
public:
    using Ticket = std::uint64_t;

    /// Runs the action after all that were posted before, which may be long after its sender has stopped waiting: so it
    /// owns or shares what it touches. It is destroyed before anyone learns that it is done.
    /// @param patience how long the action may run before nobody waits for it any more
    static Ticket post(std::function<void()> action, std::chrono::milliseconds patience);

    /// Waits until this action is done. False, and then at once, when it or one before it has exhausted its patience.
    static bool wait(Ticket ticket);

    static bool run(std::function<void()> action, std::chrono::milliseconds patience);

    /// Whether anything is left to be done.
    static bool inUse();
};

/// A share in the initialised PortAudio: the first one initialises it, the last one to go terminates it.
class PortAudioLibrary {
public:
    PortAudioLibrary(); ///< does not wait
    ~PortAudioLibrary(); ///< waits, but not for a PortAudio that hangs
    PortAudioLibrary(const PortAudioLibrary&) = delete;
    PortAudioLibrary& operator=(const PortAudioLibrary&) = delete;

    /// Waits until PortAudio has been initialised, or has refused; false when it hangs.
    bool isReady() const { return PortAudioThread::wait(initialised_); }

private:
    PortAudioThread::Ticket initialised_;
};

} // namespace quillo

#pragma once

#include <cerrno>
#include <cstdint>

#include <sys/eventfd.h>
#include <unistd.h>

namespace quillo::platform::x11 {

/// A file descriptor that one thread polls and any thread, or a signal handler, can make readable.
class EventFd {
public:
    EventFd()
        : fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
        , error_(fd_ < 0 ? errno : 0)
    {
    }
    ~EventFd()
    {
        if (fd_ >= 0)
            close(fd_);
    }
    EventFd(const EventFd&) = delete;
    EventFd& operator=(const EventFd&) = delete;

    int fd() const { return fd_; } ///< -1 when the system had none to give
    int error() const { return error_; } ///< errno of a failed creation, else 0

    /// Async-signal-safe, except that errno may change.
    void signal() const
    {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = write(fd_, &one, sizeof one);
    }

    void clear() const
    {
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t got = read(fd_, &count, sizeof count);
    }

private:
    int fd_;
    int error_;
};

} // namespace quillo::platform::x11

#pragma once

#include <sys/resource.h>

#include <csignal>

namespace quillo::test {

/// While it lives, no file of this process can grow beyond a size, as on a full disk.
class FullDisk {
public:
    explicit FullDisk(rlim_t size)
    {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{size, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk()
    {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    void (*handler_)(int) = std::signal(SIGXFSZ, SIG_IGN); // an error of the write is wanted, not the signal
    rlimit before_{};
};

} // namespace quillo::test

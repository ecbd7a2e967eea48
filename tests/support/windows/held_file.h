#pragma once

#include <windows.h>

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <thread>

namespace quillo::test {

/// Another program, such as a scanner or an indexer, that has a file open: nobody can replace or remove it meanwhile.
class HeldFile {
public:
    /// `shared` is what others may do in the meantime, as CreateFileW takes it.
    explicit HeldFile(const std::filesystem::path& path, DWORD shared = FILE_SHARE_READ | FILE_SHARE_WRITE)
        : file_(CreateFileW(path.c_str(), GENERIC_READ, shared, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr))
    {
        if (file_ == INVALID_HANDLE_VALUE)
            throw std::runtime_error("cannot open " + path.string());
    }
    ~HeldFile()
    {
        if (release_.joinable())
            release_.join();
        else
            CloseHandle(file_);
    }
    HeldFile(const HeldFile&) = delete;
    HeldFile& operator=(const HeldFile&) = delete;

    /// Lets go of it at a time when whoever wants it has tried in vain, but has not given up yet.
    void releaseSoon()
    {
        release_ = std::thread([file = file_] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            CloseHandle(file);
        });
    }

private:
    const HANDLE file_;
    std::thread release_;
};

} // namespace quillo::test

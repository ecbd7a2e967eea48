#pragma once

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <string>

namespace quillo::test {

/// An empty folder of its own for one test, whose name is not plain ASCII; removed with all its content at the end.
class TemporaryFolder {
public:
    TemporaryFolder()
    {
        static std::atomic<int> number = 0;
        path_ = std::filesystem::temp_directory_path() / u8"quillo Jürgen 模型";
        path_ += "." + std::to_string(getpid()) + "." + std::to_string(++number);
        std::filesystem::remove_all(path_);
        std::filesystem::create_directories(path_);
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

} // namespace quillo::test

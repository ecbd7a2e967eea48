#include "platform/file_in_use.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace quillo::platform {

void retryWhileInUse(const std::function<bool()>& attempt, std::chrono::milliseconds)
{
    attempt();
}

bool replaceFile(const std::filesystem::path& from, const std::filesystem::path& to, std::chrono::milliseconds)
{
    std::error_code error;
    std::filesystem::rename(from, to, error);
    return !error;
}

bool removeFile(const std::filesystem::path& path, std::chrono::milliseconds)
{
    std::error_code ignored;
    return std::filesystem::remove(path, ignored);
}

bool flushToDisk(const std::filesystem::path& path, std::chrono::milliseconds)
{
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return false;
    const bool flushed = fsync(file) == 0 || errno == EINVAL || errno == ENOTSUP;
    close(file);
    return flushed;
}

} // namespace quillo::platform

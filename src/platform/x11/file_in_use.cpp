#include "platform/file_in_use.h"

#include <system_error>

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

void removeFile(const std::filesystem::path& path, std::chrono::milliseconds)
{
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
}

} // namespace quillo::platform

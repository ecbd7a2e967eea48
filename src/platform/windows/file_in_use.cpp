#include "platform/file_in_use.h"

#include <windows.h>

#include <thread>

namespace quillo::platform {

namespace {

/// Whether the call succeeds before the patience is over. Only what another program may be the reason of is repeated.
template<typename Call> bool succeeds(Call call, std::chrono::milliseconds patience)
{
    bool succeeded = false;
    const auto attempt = [&] {
        succeeded = call() != FALSE;
        const DWORD error = succeeded ? ERROR_SUCCESS : GetLastError();
        return error != ERROR_ACCESS_DENIED && error != ERROR_SHARING_VIOLATION && error != ERROR_LOCK_VIOLATION;
    };
    retryWhileInUse(attempt, patience);
    return succeeded;
}

} // namespace

void retryWhileInUse(const std::function<bool()>& attempt, std::chrono::milliseconds patience)
{
    constexpr std::chrono::milliseconds pause(50);
    for (std::chrono::milliseconds waited{}; !attempt() && waited < patience; waited += pause)
        std::this_thread::sleep_for(pause);
}

bool replaceFile(const std::filesystem::path& from, const std::filesystem::path& to, std::chrono::milliseconds patience)
{
    constexpr DWORD flags = MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED;
    return succeeds([&] { return MoveFileExW(from.c_str(), to.c_str(), flags); }, patience);
}

bool removeFile(const std::filesystem::path& path, std::chrono::milliseconds patience)
{
    return succeeds([&] { return DeleteFileW(path.c_str()); }, patience);
}

bool flushToDisk(const std::filesystem::path& path, std::chrono::milliseconds patience)
{
    const auto flush = [&] {
        const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file == INVALID_HANDLE_VALUE)
            return FALSE;
        const BOOL flushed = FlushFileBuffers(file);
        const DWORD error = flushed ? ERROR_SUCCESS : GetLastError();
        CloseHandle(file);
        SetLastError(error);
        return flushed || error == ERROR_INVALID_FUNCTION || error == ERROR_NOT_SUPPORTED ? TRUE : FALSE;
    };
    return succeeds(flush, patience);
}

} // namespace quillo::platform

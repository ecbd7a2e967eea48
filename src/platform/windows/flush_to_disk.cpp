#include "platform/flush_to_disk.h"

#include <windows.h>

namespace quillo::platform {

void flushToDisk(const std::filesystem::path& path)
{
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return;
    FlushFileBuffers(file);
    CloseHandle(file);
}

} // namespace quillo::platform

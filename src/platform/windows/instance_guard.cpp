#include "platform/instance_guard.h"

#include <windows.h>

namespace quillo::platform {
namespace {

std::wstring toWide(const std::string& utf8)
{
    std::wstring wide(utf8.size(), L'\0'); // UTF-16 never needs more units than UTF-8 has bytes
    const int size = static_cast<int>(utf8.size());
    const int length = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, wide.data(), size);
    wide.resize(static_cast<std::size_t>(length));
    return wide;
}

} // namespace

bool takeInstanceGuard(const std::string& name)
{
    const std::wstring wideName = toWide(name); // lives on, since freeing it could change the last error
    const HANDLE mutex = CreateMutexW(nullptr, FALSE, wideName.c_str());
    const DWORD error = GetLastError();
    if (error != ERROR_ALREADY_EXISTS)
        return true; // the handle stays open on purpose: the system closes it when the process ends
    if (mutex)
        CloseHandle(mutex);
    return false;
}

} // namespace quillo::platform

#include "platform/instance_guard.h"

#include "platform/windows/utf16.h"

#include <windows.h>

namespace quillo::platform {

bool takeInstanceGuard(const std::string& name)
{
    const std::wstring wideName = toUtf16(name); // lives on, since freeing it could change the last error
    const HANDLE mutex = CreateMutexW(nullptr, FALSE, wideName.c_str());
    const DWORD error = GetLastError();
    if (error != ERROR_ALREADY_EXISTS)
        return true; // the handle stays open on purpose: the system closes it when the process ends
    if (mutex)
        CloseHandle(mutex);
    return false;
}

} // namespace quillo::platform

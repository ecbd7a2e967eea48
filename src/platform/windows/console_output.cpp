#include "platform/console_output.h"

#include <windows.h>

#include <cstdio>

namespace quillo::platform {

void connectStandardError()
{
    // A window program gets no console of its own, but whoever started it may have handed a stream on.
    const HANDLE inherited = GetStdHandle(STD_ERROR_HANDLE);
    if (inherited && inherited != INVALID_HANDLE_VALUE && GetFileType(inherited) != FILE_TYPE_UNKNOWN)
        return;
    if (!AttachConsole(ATTACH_PARENT_PROCESS))
        return; // the starter has none either
    if (std::freopen("CONOUT$", "w", stderr))
        std::setvbuf(stderr, nullptr, _IONBF, 0);
}

} // namespace quillo::platform

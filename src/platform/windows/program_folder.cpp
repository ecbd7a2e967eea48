#include "platform/program_folder.h"

#include "platform/windows/utf16.h"

#include <windows.h>

#include <string_view>
#include <vector>

namespace quillo::platform {

std::string programFolder()
{
    std::vector<wchar_t> path(1 << 15); // the longest that Windows has
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (length == 0 || length == path.size())
        return {};
    const std::wstring_view file(path.data(), length);
    return toUtf8(file.substr(0, file.rfind(L'\\')));
}

} // namespace quillo::platform

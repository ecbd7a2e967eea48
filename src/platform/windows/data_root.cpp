#include "platform/data_root.h"

#include <windows.h>

#include <shlobj.h>

#include <array>

namespace quillo::platform {

std::string dataRoot()
{
    std::array<wchar_t, MAX_PATH> wide;
    if (FAILED(SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, wide.data())))
        return {};
    std::array<char, MAX_PATH * 4> utf8;
    const int size =
        WideCharToMultiByte(CP_UTF8, 0, wide.data(), -1, utf8.data(), static_cast<int>(utf8.size()), nullptr, nullptr);
    if (size <= 0)
        return {};
    return {utf8.data(), static_cast<std::size_t>(size - 1)}; // without the terminating zero
}

} // namespace quillo::platform

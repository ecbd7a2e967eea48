#include "platform/data_root.h"

#include "platform/windows/utf16.h"

#include <windows.h>

#include <shlobj.h>

#include <array>

namespace quillo::platform {

std::string dataRoot()
{
    std::array<wchar_t, MAX_PATH> folder;
    if (FAILED(SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder.data())))
        return {};
    return toUtf8(folder.data());
}

} // namespace quillo::platform

#include "platform/program_folder.h"

#include <windows.h>

#include <filesystem>
#include <vector>

namespace quillo::platform {

std::string programFolder()
{
    std::vector<wchar_t> path(1 << 15); // the longest that Windows has
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (length == 0 || length == path.size())
        return {};
    const std::u8string folder = std::filesystem::path(path.begin(), path.begin() + static_cast<std::ptrdiff_t>(length))
                                     .parent_path()
                                     .u8string();
    return {folder.begin(), folder.end()};
}

} // namespace quillo::platform

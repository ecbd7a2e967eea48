#include "platform/program_folder.h"

#include <filesystem>

namespace quillo::platform {

std::string programFolder()
{
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error).parent_path().string();
}

} // namespace quillo::platform

#include "platform/graphics_drivers.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <vector>

namespace quillo::platform {
namespace {

namespace fs = std::filesystem;

// The manifests by which Vulkan finds its drivers.
std::vector<fs::path> manifests()
{
    std::vector<fs::path> found;
    for (const char* variable : {"VK_DRIVER_FILES", "VK_ICD_FILENAMES"}) { // these instead of the system's
        const char* const value = std::getenv(variable);
        std::istringstream files(value ? value : "");
        for (std::string file; std::getline(files, file, ':');)
            found.emplace_back(file);
    }
    if (!found.empty())
        return found;
    for (const char* folder : {"/etc/vulkan/icd.d", "/usr/local/share/vulkan/icd.d", "/usr/share/vulkan/icd.d"}) {
        std::error_code error;
        for (const fs::directory_entry& entry : fs::directory_iterator(folder, error))
            found.push_back(entry.path());
    }
    std::sort(found.begin(), found.end());
    return found;
}

} // namespace

// A package with another version of a driver brings a manifest with another time.
std::string graphicsDrivers()
{
    std::ostringstream line;
    for (const fs::path& manifest : manifests()) {
        std::error_code error;
        const auto time = fs::last_write_time(manifest, error).time_since_epoch().count();
        if (!error)
            line << manifest.string() << ' ' << time << ' ';
    }
    return line.str();
}

} // namespace quillo::platform

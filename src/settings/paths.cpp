#include "settings/paths.h"

#include "platform/data_root.h"

#include <filesystem>

namespace quillo {

namespace {

constexpr char separator = static_cast<char>(std::filesystem::path::preferred_separator);

} // namespace

std::string appDataDir()
{
    const std::string root = platform::dataRoot();
    return root.empty() ? root : root + separator + "Quillo";
}

std::string configDir()
{
    return appDataDir() + separator + "config";
}

std::string modelsDir()
{
    return appDataDir() + separator + "models";
}

} // namespace quillo

#include "settings/paths.h"

#include "base/utf8_path.h"
#include "platform/data_root.h"

namespace quillo {

std::string appDataDir()
{
    const std::string root = platform::dataRoot();
    return root.empty() ? root : root + pathSeparator + "Quillo";
}

std::string configDir()
{
    return appDataDir() + pathSeparator + "config";
}

std::string modelsDir()
{
    return appDataDir() + pathSeparator + "models";
}

} // namespace quillo

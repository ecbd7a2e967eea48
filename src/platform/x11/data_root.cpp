#include "platform/data_root.h"

#include <cstdlib>
#include <vector>

#include <pwd.h>
#include <unistd.h>

namespace quillo::platform {
namespace {

// The value of an environment variable that is to hold an absolute path, without separators at its end.
std::string absolutePath(const char* value)
{
    std::string path = value ? value : "";
    if (!path.starts_with('/'))
        return {};
    while (path.ends_with('/'))
        path.pop_back();
    return path;
}

std::string homeOfAccount()
{
    std::vector<char> buffer(16'384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found)
        return {};
    return absolutePath(found->pw_dir);
}

} // namespace

std::string dataRoot()
{
    if (std::string root = absolutePath(std::getenv("XDG_DATA_HOME")); !root.empty())
        return root;
    std::string home = absolutePath(std::getenv("HOME"));
    if (home.empty())
        home = homeOfAccount();
    return home.empty() ? home : home + "/.local/share";
}

} // namespace quillo::platform

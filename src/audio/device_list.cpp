#include "audio/device_list.h"

#include <algorithm>

namespace quillo {

std::optional<std::string> renumbered(const std::string& id, const DeviceList& then, const DeviceList& now)
{
    const auto chosen = std::find_if(then.begin(), then.end(), [&](const auto& device) { return device.first == id; });
    if (chosen == then.end())
        return id;
    const auto isNamesake = [&](const auto& device) { return device.second == chosen->second; };
    auto before = std::count_if(then.begin(), chosen, isNamesake);
    std::optional<std::string> found;
    for (const auto& device : now) {
        if (!isNamesake(device))
            continue;
        found = device.first;
        if (before-- == 0)
            break;
    }
    return found;
}

} // namespace quillo

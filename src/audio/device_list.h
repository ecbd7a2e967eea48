#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace quillo {

/// Identifier and display name of every input device. The identifiers are numbers that hold for this list alone.
using DeviceList = std::vector<std::pair<std::string, std::string>>;

/// What the user has chosen from a list.
struct ChosenDevice {
    std::string id; ///< empty, or not a number: the system's default
    std::shared_ptr<const DeviceList> list; ///< null: the first list there was
};

/// The identifier that a device of the list `then` has in the list `now`. It is known by its name, and where several
/// have that name by its place among them. Nothing when it is gone; what is not in `then` stays as it is.
std::optional<std::string> renumbered(const std::string& id, const DeviceList& then, const DeviceList& now);

} // namespace quillo

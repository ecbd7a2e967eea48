#pragma once

#include <string>

namespace quillo::platform {

/// What tells the drivers of graphics processors that are installed, with their versions, from others: one line,
/// UTF-8, empty when there is none. No driver is asked. Any thread.
std::string graphicsDrivers();

} // namespace quillo::platform

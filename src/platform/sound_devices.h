#pragma once

#include <string>

namespace quillo::platform {

/// Tells the sound devices that can be recorded from, and which of them is the system's default: the text changes when
/// they do. Always the same where the default device leads to the present one by itself whenever it is opened. Takes
/// microseconds; any thread.
std::string soundDevices();

} // namespace quillo::platform

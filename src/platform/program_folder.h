#pragma once

#include <string>

namespace quillo::platform {

/// The folder of the running program's file, as UTF-8 without a separator at the end, or empty when the system cannot
/// name it. Any thread.
std::string programFolder();

} // namespace quillo::platform

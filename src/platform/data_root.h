#pragma once

#include <string>

namespace quillo::platform {

/// The signed-in user's folder for the data of applications, as UTF-8 without a separator at the end, or empty when
/// the system cannot name one. Asks anew at each call and creates nothing. Any thread.
std::string dataRoot();

} // namespace quillo::platform

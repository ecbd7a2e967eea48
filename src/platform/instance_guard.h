#pragma once

#include <string>

namespace quillo::platform {

/// Takes the lock that only one process of the signed-in user can hold. False exactly when another process holds it;
/// true also when the system has no lock to give, so that such a failure never keeps the program from starting.
/// The lock is held until the process ends, however it ends: nothing is left behind by a crash.
bool takeInstanceGuard(const std::string& name);

} // namespace quillo::platform

#pragma once

#include <string>

namespace quillo {

/// Quillo's folders as UTF-8 strings with the system's own separators. Computed afresh at each call; nothing is
/// created. Any thread.

/// The program's folder under the user's application-data folder; empty when the system cannot name that one.
std::string appDataDir();

/// Where the name of the active model is kept: appDataDir() followed by "config".
std::string configDir();

/// Where model files are kept: appDataDir() followed by "models".
std::string modelsDir();

} // namespace quillo

#pragma once

#include <filesystem>

namespace quillo::platform {

/// Waits until what was written to the file would survive a loss of power, as far as the system tells. Failures are
/// silent. Any thread.
void flushToDisk(const std::filesystem::path& path);

} // namespace quillo::platform

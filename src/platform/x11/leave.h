#pragma once

namespace quillo::platform::x11 {

/// Ends the process with an error line and exit code 1, and destroys nothing: other threads go on until then. Any
/// thread.
[[noreturn]] void leaveWithoutDisplay();

} // namespace quillo::platform::x11

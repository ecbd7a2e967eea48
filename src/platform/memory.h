#pragma once

namespace quillo::platform {

/// Gives the memory that this process has freed but still keeps in stock back to the system. Takes a few milliseconds;
/// any thread.
void returnFreedMemory();

} // namespace quillo::platform

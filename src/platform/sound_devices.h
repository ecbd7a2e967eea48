#pragma once

#include <string>

namespace quillo::platform {

/// Tells the sound devices that can be recorded from, and which of them is the system's default: the text changes when
/// they do. Always the same where the default device leads to the present one by itself whenever it is opened. Takes
/// microseconds; any thread.
std::string soundDevices();

/// From now on what the libraries of the sound system have to say, and would write to the standard error stream, goes
/// to this function: one line without its end at a time, on any thread. Not on several threads at a time.
void receiveSoundMessages(void (*receive)(const char* line));

} // namespace quillo::platform

#pragma once

#include <chrono>
#include <filesystem>
#include <functional>

namespace quillo::platform {

/// Some systems keep a file as it is while a program has it open, and scanners and indexers open every fresh file for a
/// moment. There these functions try again until it works or the patience is over; elsewhere they try once. Any thread,
/// which waits in between.

/// Calls an attempt to read or to change a file, which returns whether there is no point in another one.
void retryWhileInUse(const std::function<bool()>& attempt, std::chrono::milliseconds patience);

/// Moves a file, within its folder, in the place of another one or of none. False when it lies where it was.
bool replaceFile(
    const std::filesystem::path& from, const std::filesystem::path& to, std::chrono::milliseconds patience);

/// Removes a file, if it is there. Failures are silent.
void removeFile(const std::filesystem::path& path, std::chrono::milliseconds patience);

} // namespace quillo::platform

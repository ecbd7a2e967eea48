#pragma once

#include <chrono>
#include <filesystem>
#include <functional>

namespace quillo::platform {

/// Some systems keep a file as it is while a program has it open, and scanners and indexers open every fresh file for a
/// moment. There these functions try again until it works or the patience is over; elsewhere they try once. Any thread,
/// which waits in between.

/// What nobody minds who waits for a click to take effect.
inline constexpr std::chrono::milliseconds usualPatience(300);

/// Calls an attempt to read or to change a file, which returns whether there is no point in another one.
void retryWhileInUse(const std::function<bool()>& attempt, std::chrono::milliseconds patience = usualPatience);

/// Moves a file, within its folder, in the place of another one or of none. False when it lies where it was.
bool replaceFile(const std::filesystem::path& from, const std::filesystem::path& to,
    std::chrono::milliseconds patience = usualPatience);

/// Removes a file. False when there is none or it cannot be removed.
bool removeFile(const std::filesystem::path& path, std::chrono::milliseconds patience = usualPatience);

/// Waits until what was written to the file would survive a loss of power. False when it could not be written; on a
/// file system that promises nothing of the kind it counts as written.
bool flushToDisk(const std::filesystem::path& path, std::chrono::milliseconds patience = usualPatience);

} // namespace quillo::platform

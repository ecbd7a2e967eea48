#pragma once

#include <filesystem>
#include <string>

namespace quillo {

/// Paths travel through the program as UTF-8 strings with the system's own separators.
inline constexpr char pathSeparator = static_cast<char>(std::filesystem::path::preferred_separator);

/// The file system's form of such a path.
inline std::filesystem::path pathFromUtf8(const std::string& utf8)
{
    return std::u8string(utf8.begin(), utf8.end());
}

} // namespace quillo

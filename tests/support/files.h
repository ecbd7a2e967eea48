#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace quillo::test {

/// A file's bytes; none when it cannot be read.
inline std::string contentOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Replaces a file's content, and makes its folder.
inline void writeFile(const std::filesystem::path& path, const std::string& content)
{
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

} // namespace quillo::test

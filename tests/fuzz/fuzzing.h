#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

/// What libFuzzer calls with each input, one after the other, in one process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace quillo::fuzz {

/// Something that must hold. Otherwise the process aborts, which libFuzzer reports together with the input.
inline void require(bool condition, const char* what)
{
    if (condition)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

inline std::string textOf(const std::uint8_t* data, std::size_t size)
{
    return {data, data + size};
}

inline void writeFile(const std::string& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(content.data(), static_cast<std::streamsize>(content.size()));
}

} // namespace quillo::fuzz

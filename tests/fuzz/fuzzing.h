#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace quillo::fuzz {

/// What each fuzzer is: the promises that must hold for any input. Inputs come one after the other, in one process.
void tryInput(const std::string& input);

/// Something that must hold. Otherwise the process aborts, which libFuzzer reports together with the input.
inline void require(bool condition, const char* what)
{
    if (condition)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

} // namespace quillo::fuzz

/// libFuzzer's name for it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    quillo::fuzz::tryInput({data, data + size});
    return 0;
}

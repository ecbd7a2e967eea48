#pragma once

#include <cstdio>
#include <filesystem>
#include <string>

namespace quillo::test {

/// Runs a command line of sh in a folder and returns what it writes to its standard output, byte by byte. Throws
/// std::runtime_error when it cannot be started or fails. Under Wine the machine that Wine runs on executes it.
std::string shellOutput(const std::string& command, const std::filesystem::path& folder);

/// A program with its arguments, as sh reads them, that runs in a folder until this object goes: the end of its
/// standard input then tells it to end. One that cannot be started shows by what it does not do.
class BackgroundProgram {
public:
    BackgroundProgram(const std::string& command, const std::filesystem::path& folder);
    ~BackgroundProgram();
    BackgroundProgram(const BackgroundProgram&) = delete;
    BackgroundProgram& operator=(const BackgroundProgram&) = delete;

private:
    std::filesystem::path folder_;
    std::FILE* standardInput_ = nullptr;
};

} // namespace quillo::test

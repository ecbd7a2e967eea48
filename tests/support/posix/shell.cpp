#include "support/shell.h"

#include <array>
#include <stdexcept>

namespace quillo::test {

namespace {

std::string inFolder(const std::string& command, const std::filesystem::path& folder)
{
    return "cd '" + folder.string() + "' && " + command;
}

} // namespace

std::string shellOutput(const std::string& command, const std::filesystem::path& folder)
{
    std::FILE* pipe = popen(inFolder(command, folder).c_str(), "re");
    if (!pipe)
        throw std::runtime_error("cannot start a shell");
    std::string output;
    std::array<char, 4096> buffer{};
    while (const std::size_t length = std::fread(buffer.data(), 1, buffer.size(), pipe))
        output.append(buffer.data(), length);
    if (pclose(pipe) != 0)
        throw std::runtime_error("failed: " + command);
    return output;
}

BackgroundProgram::BackgroundProgram(const std::string& command, const std::filesystem::path& folder)
    : folder_(folder)
    , standardInput_(popen(inFolder("exec " + command, folder).c_str(), "we"))
{
}

BackgroundProgram::~BackgroundProgram()
{
    if (standardInput_)
        pclose(standardInput_);
}

} // namespace quillo::test

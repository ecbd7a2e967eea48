// For Wine, which starts programs of the machine as well, but shares only files with them: neither pipes nor the news
// of their end.
#include "support/shell.h"

#include <windows.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace quillo::test {

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds patience(120);

/// The script comes from a file, so that nothing in it has to be quoted. It is not told of the folders of a private
/// profile, whose names would be relative ones to it: what it made there could be neither found nor removed from here.
void startScript(const std::string& script, const fs::path& folder)
{
    std::ofstream(folder / "script", std::ios::binary) << "unset XDG_CONFIG_HOME XDG_CONFIG_DIRS\n" << script;
    wchar_t command[] = L"Z:\\bin\\sh script";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, command, nullptr, nullptr, FALSE, 0, nullptr, folder.c_str(), &startup, &process))
        throw std::runtime_error("cannot start a shell");
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
}

std::string content(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

std::string shellOutput(const std::string& command, const fs::path& folder)
{
    const fs::path finished = folder / "finished";
    startScript("(" + command + ") > output; echo $? > finishing; mv finishing finished", folder);
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!fs::exists(finished)) {
        if (std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error("does not end: " + command);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    const bool succeeded = content(finished) == "0\n";
    fs::remove(finished);
    if (!succeeded)
        throw std::runtime_error("failed: " + command);
    return content(folder / "output");
}

BackgroundProgram::BackgroundProgram(const std::string& command, const fs::path& folder)
    : folder_(folder)
{
    std::ofstream(folder_ / "running") << "until this file is gone\n";
    startScript("while [ -e running ]; do sleep 0.1; done | timeout 900 " + command, folder_);
}

BackgroundProgram::~BackgroundProgram()
{
    std::error_code ignored;
    fs::remove(folder_ / "running", ignored);
}

} // namespace quillo::test

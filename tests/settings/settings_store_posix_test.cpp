// What needs the modes, the limits and the processes of POSIX.
#include "settings/settings_file.h"
#include "support/posix/full_disk.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace quillo {
namespace {

namespace fs = std::filesystem;

class SettingsStorePosixTest : public SettingsStoreTest {
protected:
    SettingsStorePosixTest() { umask(0); } // the worst case for whoever wants to keep a file private
};

TEST_F(SettingsStorePosixTest, SavingTakesAwayWhatOthersMayDo)
{
    test::writeFile(file, "[General]\nfont=7\n");
    fs::permissions(file, fs::perms(0666));

    SettingsStore::save(everythingElse);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
    EXPECT_EQ(toolkitStore().value("font").toString(), "7"); // a foreign entry stays
}

TEST_F(SettingsStorePosixTest, NewFileIsNeverReadableByOthers)
{
    std::atomic<bool> done = false;
    std::thread saver([&] {
        for (int i = 0; i < 100; ++i) {
            fs::remove(file);
            SettingsStore::save(everythingElse);
        }
        done = true;
    });
    fs::perms seen = fs::perms::none;
    while (!done)
        if (const fs::file_status status = fs::status(file); fs::exists(status))
            seen |= status.permissions();
    saver.join();
    EXPECT_EQ(seen, fs::perms(0600));
}

TEST_F(SettingsStorePosixTest, FullDiskKeepsTheOldFile)
{
    SettingsStore::save(everythingElse);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const test::FullDisk disk(fs::file_size(file) / 2);
        SettingsStore::save(defaults);
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    EXPECT_EQ(SettingsStore::load(), everythingElse);
}

/// A record that tells its number in every field that can hold it.
SettingsData numbered(int number)
{
    SettingsData settings = everythingElse;
    for (std::string SettingsData::*member : {&SettingsData::hotkey, &SettingsData::inputDeviceId,
             &SettingsData::openaiKey, &SettingsData::mistralKey, &SettingsData::overlayPosition})
        settings.*member = std::to_string(number);
    settings.maxRecordingMinutes = number;
    return settings;
}

TEST_F(SettingsStorePosixTest, ProgramsThatSaveAtOnceLeaveWholeRecords)
{
    constexpr int savesEach = 25;
    const std::vector<int> firstNumbers{1000, 2000};
    SettingsStore::save(numbered(firstNumbers[0]));
    toolkitStore().setValue("foreign", "kept");

    std::vector<pid_t> programs;
    for (const int first : firstNumbers) {
        const pid_t program = fork();
        ASSERT_GE(program, 0);
        if (program == 0) {
            for (int i = 0; i < savesEach; ++i)
                SettingsStore::save(numbered(first + i));
            _exit(0);
        }
        programs.push_back(program);
    }
    while (!programs.empty()) {
        const SettingsData seen = SettingsStore::load();
        EXPECT_EQ(seen, numbered(seen.maxRecordingMinutes));
        if (waitpid(programs.back(), nullptr, WNOHANG) != 0)
            programs.pop_back();
    }
    EXPECT_THAT(loadAfresh(),
        testing::AnyOf(numbered(firstNumbers[0] + savesEach - 1), numbered(firstNumbers[1] + savesEach - 1)));
    EXPECT_EQ(toolkitStore().value("foreign").toString(), "kept");
}

} // namespace
} // namespace quillo

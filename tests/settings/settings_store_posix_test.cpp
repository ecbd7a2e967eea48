// What needs the modes and the limits of POSIX.
#include "settings/settings_file.h"
#include "support/posix/full_disk.h"

#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <thread>

namespace quillo {
namespace {

namespace fs = std::filesystem;

class SettingsStorePosixTest : public SettingsStoreTest {
protected:
    SettingsStorePosixTest() { umask(0); } // the worst case for whoever wants to keep a file private
};

TEST_F(SettingsStorePosixTest, SavingTakesAwayWhatOthersMayDo)
{
    test::writeFile(file, "[General]\n");
    fs::permissions(file, fs::perms(0666));
    SettingsStore::save(everythingElse);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
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
    {
        const test::FullDisk disk(fs::file_size(file) / 2);
        SettingsStore::save(defaults);
    }
    EXPECT_EQ(loadAfresh(), everythingElse);
}

} // namespace
} // namespace quillo

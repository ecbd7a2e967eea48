// What needs the modes and the limits of POSIX.
#include "history/history_file.h"
#include "support/posix/full_disk.h"

#include <sys/stat.h>

#include <filesystem>
#include <string>

namespace quillo {
namespace {

namespace fs = std::filesystem;

using HistoryStorePosixTest = HistoryStoreTest;

TEST_F(HistoryStorePosixTest, AppendingLeavesAPrivateFile)
{
    umask(0); // the worst case
    for (const char* stored : {"", "no list", R"([{"timestamp":"Nov 17, 09:05","text":"a"}])"}) {
        HistoryStore::append("new");
        EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600)) << "before " << stored;
        test::writeFile(file, stored);
        fs::permissions(file, fs::perms(0644));
    }
}

TEST_F(HistoryStorePosixTest, FullDiskKeepsTheOldFile)
{
    for (const std::size_t length : {100U, 100'000U}) { // less than what the toolkit buffers, and more
        HistoryStore::append(std::string(length, 'a'));
        const std::string before = test::contentOf(file);
        {
            const test::FullDisk disk(before.size() / 2);
            HistoryStore::append("lost");
        }
        EXPECT_TRUE(test::contentOf(file) == before) << length;
    }
}

} // namespace
} // namespace quillo

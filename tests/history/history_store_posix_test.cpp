// What needs the modes, the limits and the processes of POSIX.
#include "history/history_file.h"
#include "support/posix/full_disk.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

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
        const std::string before = content();
        {
            const test::FullDisk disk(before.size() / 2);
            HistoryStore::append("lost");
        }
        EXPECT_TRUE(content() == before) << content().size() << " bytes instead of " << before.size();
    }
}

TEST_F(HistoryStorePosixTest, ProcessKilledWhileItAppendsLosesNothing)
{
    constexpr int rounds = 150;
    const std::string oldest(20'000, 'x'); // makes the time of writing longer
    std::mt19937 random(7);
    int interrupted = 0;
    for (int round = 0; round < rounds; ++round) {
        test::writeFile(file, R"([{"text":")" + oldest + R"("}])");
        const pid_t child = fork();
        if (child == 0) {
            for (int i = 0; i < 20; ++i)
                HistoryStore::append(std::to_string(i));
            _exit(0);
        }
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 12'000));
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        interrupted += WIFSIGNALED(status) ? 1 : 0;
        const std::vector<std::string> left = texts();
        ASSERT_FALSE(left.empty());
        EXPECT_TRUE(left.back() == oldest);
        EXPECT_TRUE(left.size() == 1 || left.front() == std::to_string(left.size() - 2));
    }
    EXPECT_GT(interrupted, rounds / 4); // else the pauses are too long for this machine and nothing was tested
}

} // namespace
} // namespace quillo

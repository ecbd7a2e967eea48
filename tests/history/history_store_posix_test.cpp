// What needs the modes, the limits and the processes of POSIX.
#include "history/history_file.h"
#include "support/posix/full_disk.h"

#include <QJsonDocument>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
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

class HistoryStorePosixTest : public HistoryStoreTest {
protected:
    HistoryStorePosixTest() { umask(0); } // the worst case for whoever wants to keep a file private
};

TEST_F(HistoryStorePosixTest, FirstAppendMakesAPrivateFile)
{
    HistoryStore::append("first");
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
}

TEST_F(HistoryStorePosixTest, AppendingTakesAwayWhatOthersMayDo)
{
    for (const char* stored : {"", "no list", R"([{"timestamp":"Nov 17, 09:05","text":"a"}])"}) {
        SCOPED_TRACE(stored);
        test::writeFile(file, stored);
        fs::permissions(file, fs::perms(0644));
        HistoryStore::append("new");
        EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
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

TEST_F(HistoryStorePosixTest, ProcessKilledWhileItAppendsLosesNothingAndDamagesNothing)
{
    constexpr int rounds = 200;
    std::mt19937 random(7);
    std::uniform_int_distribution<int> microseconds(0, 12'000);
    int interrupted = 0;
    for (int round = 1; round <= rounds; ++round) {
        if (round % 10 == 1) {
            test::writeFile(file, "[]");
            HistoryStore::append("0 " + std::string(20'000, 'x')); // makes the time of writing longer
        }
        std::array<int, 2> ends{};
        ASSERT_EQ(pipe(ends.data()), 0);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (char i = 0; i < 20; ++i) {
                HistoryStore::append(std::to_string(round) + ' ' + std::to_string(int{i}));
                if (write(ends[1], &i, 1) != 1)
                    break;
            }
            _exit(0);
        }
        close(ends[1]);
        std::this_thread::sleep_for(std::chrono::microseconds(microseconds(random)));
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        interrupted += WIFSIGNALED(status) ? 1 : 0;
        std::array<char, 20> returned{};
        const ssize_t count = std::max<ssize_t>(read(ends[0], returned.data(), returned.size()), 0);
        close(ends[0]);

        ASSERT_TRUE(QJsonDocument::fromJson(QByteArray::fromStdString(content())).isArray()) << "round " << round;
        const std::vector<std::string> all = texts();
        const auto ofThisRound = std::ranges::count_if(
            all, [prefix = std::to_string(round) + ' '](const std::string& text) { return text.starts_with(prefix); });
        EXPECT_THAT(ofThisRound, testing::AnyOf(count, count + 1)) << "round " << round;
        EXPECT_TRUE(all.back().starts_with("0 ")) << "round " << round;
    }
    EXPECT_GT(interrupted, rounds / 4); // else the pauses are too long for this machine and nothing was tested
}

} // namespace
} // namespace quillo

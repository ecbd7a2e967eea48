#include "history/history_store.h"

#include "support/files.h"
#include "support/posix/full_disk.h"
#include "support/private_profile.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QLocale>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace quillo {
namespace {

const test::PrivateProfile profile;

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class HistoryStoreTest : public testing::Test {
protected:
    HistoryStoreTest()
    {
        profile.empty();
        umask(0); // the worst case for whoever wants to keep a file private
    }

    std::string content() const { return test::contentOf(file); }

    const fs::path file = profile.dataRoot() / "Quillo" / "history.json";
};

std::vector<std::string> texts()
{
    std::vector<std::string> result;
    for (const HistoryEntry& entry : HistoryStore::load())
        result.push_back(entry.text);
    return result;
}

std::string englishTime()
{
    const QDateTime now = QDateTime::currentDateTime();
    return QLocale(QLocale::English).toString(now, "MMM dd, HH:mm").toStdString();
}

TEST_F(HistoryStoreTest, FirstAppendMakesAPrivateFileWithTheTimeInEnglish)
{
    QLocale::setDefault(QLocale(QLocale::Arabic, QLocale::Egypt)); // other month names and other digits
    const std::string before = englishTime();
    HistoryStore::append("first");
    const std::string after = englishTime();

    EXPECT_THAT(
        HistoryStore::load(), ElementsAre(testing::AnyOf(HistoryEntry{before, "first"}, HistoryEntry{after, "first"})));
    EXPECT_THAT(content(),
        testing::MatchesRegex(R"(\[\{"text":"first","timestamp":"[A-Z][a-z]{2} [0-9]{2}, [0-9]{2}:[0-9]{2}"\}\])"));
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
}

TEST_F(HistoryStoreTest, AnyTextComesBackUnchangedNewestFirst)
{
    const std::vector<std::string> spoken{"", "\"quoted\" \\ and / {[,]}", "two\nlines\r\n\ttab", "Größe 模型 🎙",
        std::string("a\0b", 3), std::string(100'000, 'x')};
    for (const std::string& text : spoken)
        HistoryStore::append(text);
    EXPECT_THAT(texts(), testing::ElementsAreArray(spoken.rbegin(), spoken.rend()));
}

TEST_F(HistoryStoreTest, KeepsTheFiveHundredNewest)
{
    for (int i = 0; i <= 500; ++i)
        HistoryStore::append(std::to_string(i));
    const std::vector<std::string> kept = texts();
    ASSERT_THAT(kept, SizeIs(500));
    EXPECT_EQ(kept.front(), "500");
    EXPECT_EQ(kept.back(), "1");
}

TEST_F(HistoryStoreTest, LoadsWhatIsUsableAndTakesAnAppend)
{
    struct StoredFile {
        const char* content;
        std::vector<HistoryEntry> expected;
    };
    const StoredFile files[] = {{"", {}}, {R"({"text":"no list"})", {}}, {R"("no list")", {}},
        {"\xff\xfe plain words", {}}, {R"([{"timestamp":"Nov 17, 09:05","text":"a"},{"timest)", {}},
        {R"([ {"text":"a","timestamp":"Nov 17, 09:05"}, 7, {"timestamp":"t"}, {"text":7,"timestamp":null}, [] ])",
            {{"Nov 17, 09:05", "a"}, {"", ""}, {"t", ""}, {"", ""}, {"", ""}}}};
    for (const auto& [stored, expected] : files) {
        SCOPED_TRACE(stored);
        test::writeFile(file, stored);
        fs::permissions(file, fs::perms(0644));
        EXPECT_EQ(HistoryStore::load(), expected);

        HistoryStore::append("new");
        std::vector<HistoryEntry> appended = HistoryStore::load();
        ASSERT_THAT(appended, SizeIs(expected.size() + 1));
        EXPECT_EQ(appended.front().text, "new");
        appended.erase(appended.begin());
        EXPECT_EQ(appended, expected);
        EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
    }
}

TEST_F(HistoryStoreTest, ClearingLeavesNothing)
{
    HistoryStore::clear(); // of nothing
    HistoryStore::append("private");
    HistoryStore::clear();
    EXPECT_THAT(HistoryStore::load(), IsEmpty());
    EXPECT_TRUE(fs::is_empty(file.parent_path()));
}

/// Appends "first", "first + 1" and so on, `count` of them.
void appendNumbers(int first, int count)
{
    for (int i = 0; i < count; ++i)
        HistoryStore::append(std::to_string(first + i));
}

/// The numbers among the texts that appendNumbers wrote from `first` on; newest first.
std::vector<int> numbersFrom(int first)
{
    std::vector<int> numbers;
    for (const std::string& text : texts())
        if (const int number = std::stoi(text); number / first == 1)
            numbers.push_back(number);
    return numbers;
}

TEST_F(HistoryStoreTest, AppendsFromSeveralThreadsAreAllKept)
{
    constexpr int count = 60;
    std::atomic<int> running = 2;
    std::array<std::thread, 2> threads;
    for (std::size_t i = 0; i < threads.size(); ++i)
        threads[i] = std::thread([&running, first = i == 0 ? 1000 : 2000] {
            appendNumbers(first, count);
            --running;
        });
    std::size_t seen = 0;
    while (running > 0) {
        const std::size_t now = HistoryStore::load().size();
        EXPECT_GE(now, seen);
        seen = now;
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const int first : {1000, 2000}) {
        EXPECT_THAT(numbersFrom(first), SizeIs(count));
        EXPECT_TRUE(std::ranges::is_sorted(numbersFrom(first), std::greater()));
    }
}

TEST_F(HistoryStoreTest, ClearingWhileTextsArriveLosesOnlyOlderOnes)
{
    constexpr int count = 100;
    std::atomic<bool> done = false;
    std::thread writer([&done] {
        appendNumbers(1000, count);
        done = true;
    });
    while (!done) {
        // What is there is always an unbroken run of the numbers.
        const std::vector<int> numbers = numbersFrom(1000);
        for (std::size_t i = 1; i < numbers.size(); ++i)
            EXPECT_EQ(numbers[i], numbers[i - 1] - 1);
        HistoryStore::clear();
    }
    writer.join();
    HistoryStore::append("1999");
    EXPECT_EQ(numbersFrom(1000).front(), 1999);
}

TEST_F(HistoryStoreTest, FullDiskKeepsTheOldFile)
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

TEST_F(HistoryStoreTest, ProcessKilledWhileItAppendsLosesNothingAndDamagesNothing)
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

#include "history/history_file.h"

#include <QDateTime>
#include <QLocale>

#include <algorithm>
#include <array>
#include <atomic>
#include <filesystem>
#include <functional>
#include <regex>
#include <string>
#include <thread>
#include <vector>

namespace quillo {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::string englishTime()
{
    const QDateTime now = QDateTime::currentDateTime();
    return QLocale(QLocale::English).toString(now, "MMM dd, HH:mm").toStdString();
}

TEST_F(HistoryStoreTest, FirstAppendMakesAFileWithTheTimeInEnglish)
{
    QLocale::setDefault(QLocale(QLocale::Arabic, QLocale::Egypt)); // other month names and other digits
    const std::string before = englishTime();
    HistoryStore::append("first");
    const std::string after = englishTime();

    EXPECT_THAT(
        HistoryStore::load(), ElementsAre(testing::AnyOf(HistoryEntry{before, "first"}, HistoryEntry{after, "first"})));
    const std::regex form(R"(\[\{"text":"first","timestamp":"[A-Z][a-z]{2} [0-9]{2}, [0-9]{2}:[0-9]{2}"\}\])");
    EXPECT_TRUE(std::regex_match(content(), form)) << content();
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
        EXPECT_EQ(HistoryStore::load(), expected);

        HistoryStore::append("new");
        std::vector<HistoryEntry> appended = HistoryStore::load();
        ASSERT_THAT(appended, SizeIs(expected.size() + 1));
        EXPECT_EQ(appended.front().text, "new");
        appended.erase(appended.begin());
        EXPECT_EQ(appended, expected);
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

} // namespace
} // namespace quillo

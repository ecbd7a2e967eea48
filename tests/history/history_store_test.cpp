#include "history/history_file.h"

#include <QDateTime>
#include <QLocale>

#include <algorithm>
#include <array>
#include <atomic>
#include <filesystem>
#include <functional>
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

TEST_F(HistoryStoreTest, AnEntryHasItsTimeInEnglish)
{
    QLocale::setDefault(QLocale(QLocale::Arabic, QLocale::Egypt)); // other month names and other digits
    const HistoryEntry before{englishTime(), "first"};
    HistoryStore::append("first");
    EXPECT_THAT(HistoryStore::load(), ElementsAre(testing::AnyOf(before, HistoryEntry{englishTime(), "first"})));
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
        EXPECT_EQ(texts().front(), "new");
        EXPECT_THAT(texts(), SizeIs(expected.size() + 1));
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

/// Appends the numbers from 100 on, each with a name behind it.
void appendNumbered(const std::string& name, int count)
{
    for (int i = 0; i < count; ++i)
        HistoryStore::append(std::to_string(100 + i) + name);
}

TEST_F(HistoryStoreTest, AppendsFromSeveralThreadsAreAllKept)
{
    constexpr int count = 60;
    std::thread other([] { appendNumbered("b", count); });
    appendNumbered("a", count);
    other.join();
    std::array<std::vector<std::string>, 2> kept;
    for (const std::string& text : texts())
        kept.at(text.ends_with('b') ? 1 : 0).push_back(text);
    for (const auto& ofOne : kept) {
        EXPECT_THAT(ofOne, SizeIs(count));
        EXPECT_TRUE(std::ranges::is_sorted(ofOne, std::greater()));
    }
}

TEST_F(HistoryStoreTest, ClearingWhileTextsArriveLosesOnlyOlderOnes)
{
    std::atomic<bool> done = false;
    std::thread writer([&done] {
        appendNumbered("", 100);
        done = true;
    });
    while (!done) {
        const std::vector<std::string> now = texts();
        for (std::size_t i = 1; i < now.size(); ++i)
            EXPECT_EQ(std::stoi(now[i]), std::stoi(now[i - 1]) - 1) << "an unbroken run of the numbers";
        HistoryStore::clear();
    }
    writer.join();
    HistoryStore::append("last");
    EXPECT_EQ(texts().front(), "last");
}

} // namespace
} // namespace quillo

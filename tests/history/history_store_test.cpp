#include "history/history_file.h"

#include <QDateTime>
#include <QLocale>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace quillo {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::SizeIs;

TEST_F(HistoryStoreTest, AnEntryHasItsTimeInEnglish)
{
    QLocale::setDefault(QLocale(QLocale::Arabic, QLocale::Egypt)); // other month names and other digits
    const auto now = [] {
        const auto time = QLocale(QLocale::English).toString(QDateTime::currentDateTime(), "MMM dd, HH:mm");
        return HistoryEntry{time.toStdString(), "first"};
    };
    const HistoryEntry before = now();
    HistoryStore::append("first");
    EXPECT_THAT(HistoryStore::load(), ElementsAre(testing::AnyOf(before, now())));
}

TEST_F(HistoryStoreTest, TheFiveHundredNewestTextsComeBackUnchangedNewestFirst)
{
    std::vector<std::string> spoken{"lost", "", "\"quoted\" \\ and / {[,]}", "two\nlines\r\n\ttab",
        "Größe 模型 🎙", std::string("a\0b", 3), std::string(10'000, 'x')};
    while (spoken.size() <= 500)
        spoken.push_back(std::to_string(spoken.size()));
    for (const std::string& text : spoken)
        HistoryStore::append(text);
    EXPECT_TRUE(std::ranges::equal(texts(), std::vector(spoken.rbegin(), spoken.rend() - 1)));
}

TEST_F(HistoryStoreTest, LoadsWhatIsUsableAndTakesAnAppend)
{
    const std::pair<const char*, std::vector<HistoryEntry>> files[] = {{"", {}}, {R"({"text":"no list"})", {}},
        {R"("no list")", {}}, {"\xff\xfe plain words", {}},
        {R"([{"timestamp":"Nov 17, 09:05","text":"a"},{"timest)", {}},
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
    EXPECT_TRUE(fs::is_empty(file.parent_path()));
}

TEST_F(HistoryStoreTest, AppendsFromSeveralThreadsAreAllKept)
{
    const auto append = [](int first) {
        for (int i = first; i < 120; i += 2)
            HistoryStore::append(std::to_string(i));
    };
    std::thread other(append, 1);
    append(0);
    other.join();
    const std::vector<std::string> kept = texts();
    EXPECT_EQ(std::set(kept.begin(), kept.end()).size(), 120U);
}

} // namespace
} // namespace quillo

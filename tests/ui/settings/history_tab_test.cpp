#include "ui/settings/history_tab.h"

#include <QApplication>
#include <QClipboard>
#include <QFontMetrics>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>

#include <gtest/gtest.h>

namespace quillo {
namespace {

constexpr int patience = 20'000; // ms

class HistoryTabTest : public testing::Test {
protected:
    HistoryTabTest()
    {
        QApplication::clipboard()->setText("from before");
        tab.resize(500, 500);
        tab.show();
    }

    void click(const char* button) { tab.findChild<QPushButton*>(button)->click(); }
    static QString copied() { return QApplication::clipboard()->text(); }
    QListWidget& list() const { return *tab.findChild<QListWidget*>("historyList"); }
    QString count() const { return tab.findChild<QLabel*>("historyCountLabel")->text(); }

    const std::vector<HistoryEntry> entries{
        {"Nov 18, 07:30", "Grüße \"aus\" dem\nBüro — bald"}, {"Nov 17, 09:05", "b"}};
    int cleared = 0;
    HistoryTab tab{[this] { ++cleared; }};
};

TEST_F(HistoryTabTest, ShowsTheEntriesInTheirOrderAndClearsWithoutAsking)
{
    EXPECT_EQ(count(), "0 entries");
    tab.setHistory(entries);
    EXPECT_EQ(list().item(0)->text(), "Nov 18, 07:30 — Grüße \"aus\" dem\nBüro — bald");
    EXPECT_EQ(list().item(1)->text(), "Nov 17, 09:05 — b");
    EXPECT_EQ(count(), "2 entries");
    tab.setHistory({{"Nov 17, 09:05 — b", ""}});
    tab.setHistory({{"Nov 17, 09:05", "b — "}}); // looks the same
    EXPECT_EQ(list().item(0)->data(Qt::UserRole), "b — ");
    EXPECT_EQ(count(), "1 entries");

    click("historyClearButton");
    EXPECT_EQ(cleared, 1);
    EXPECT_EQ(list().count(), 0);
    EXPECT_EQ(count(), "0 entries");
}

TEST_F(HistoryTabTest, CopiesTheBareTextOfTheSelectedEntry)
{
    click("historyCopyButton");
    tab.setHistory(entries);
    list().setCurrentRow(1);
    tab.setHistory(entries); // selects nothing
    click("historyCopyButton");
    EXPECT_EQ(copied(), "from before");
    list().setCurrentRow(0);
    click("historyCopyButton");
    EXPECT_EQ(copied(), "Grüße \"aus\" dem\nBüro — bald");
    list().setCurrentRow(1);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&tab, patience));
    QTest::keySequence(&list(), QKeySequence::Copy);
    EXPECT_EQ(copied(), "b");
}

TEST_F(HistoryTabTest, SelectionIsSeenOnEveryRow)
{
    tab.setHistory(entries);
    for (const int row : {0, 1}) {
        list().setCurrentRow(row);
        const QImage picture = list().viewport()->grab().toImage();
        const QRect area = list().visualItemRect(list().item(row));
        EXPECT_EQ(picture.pixelColor(area.right() - 3, area.center().y()).name().toStdString(), "#2d2e4a") << row;
    }
}

TEST_F(HistoryTabTest, GivesEveryLineOfLongTextsRoom)
{
    std::string text;
    for (int i = 0; i < 400; ++i)
        text += i % 3 ? "word " : "longer ";
    tab.setHistory(std::vector<HistoryEntry>(100, {"Nov 17, 09:05", text}));
    const QListWidgetItem* last = list().item(99);
    ASSERT_TRUE(QTest::qWaitFor([&] { return list().visualItemRect(last).isValid(); }, patience));
    ASSERT_TRUE(QTest::qWaitFor([&] { return list().verticalScrollBar()->isVisible(); }, patience));

    // What the style sheet and the style leave of the width.
    const int margins = 2 * (10 + list().style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, &list()) + 1);
    const QRect wrapped = list().fontMetrics().boundingRect(
        QRect(0, 0, list().viewport()->width() - margins, 10'000), Qt::TextWordWrap, last->text());
    const QFontMetrics metrics = list().fontMetrics();
    const int lines = (wrapped.height() + metrics.leading()) / metrics.lineSpacing(); // items do without the leading
    EXPECT_GE(list().visualItemRect(last).height(), lines * metrics.height() + 2 * 8);
    list().scrollToBottom();
    EXPECT_EQ(list().visualItemRect(last).bottom(), list().viewport()->rect().bottom());
}

} // namespace
} // namespace quillo

#include "ui/settings/history_tab.h"

#include "support/widgets.h"

#include <string>
#include <vector>

namespace quillo {
namespace {

class HistoryTabTest : public testing::Test {
protected:
    HistoryTabTest()
    {
        QApplication::clipboard()->setText("from before");
        tab.resize(500, 500);
        tab.show();
        tab.setHistory(entries);
    }

    QString copied(int row)
    {
        list.setCurrentRow(row);
        test::click(tab, "historyCopyButton");
        return QApplication::clipboard()->text();
    }
    QString count() const { return test::labelText(tab, "historyCountLabel"); }

    const std::vector<HistoryEntry> entries{
        {"Nov 18, 07:30", "Grüße \"aus\" dem\nBüro — bald"}, {"Nov 17, 09:05", "b"}};
    int cleared = 0;
    HistoryTab tab{[this] { ++cleared; }};
    QListWidget& list = test::find<QListWidget>(tab, "historyList");
};

TEST_F(HistoryTabTest, ShowsTheEntriesInTheirOrderAndClearsWithoutAsking)
{
    EXPECT_EQ(list.item(0)->text(), "Nov 18, 07:30 — Grüße \"aus\" dem\nBüro — bald");
    EXPECT_EQ(list.item(1)->text(), "Nov 17, 09:05 — b");
    EXPECT_EQ(count(), "2 entries");
    tab.setHistory({{"Nov 17, 09:05 — b", ""}});
    tab.setHistory({{"Nov 17, 09:05", "b — "}}); // looks the same
    EXPECT_EQ(copied(0), "b — ");
    EXPECT_EQ(count(), "1 entries");

    test::click(tab, "historyClearButton");
    EXPECT_EQ(cleared, 1);
    EXPECT_EQ(list.count(), 0);
    EXPECT_EQ(count(), "0 entries");
}

TEST_F(HistoryTabTest, CopiesTheBareTextOfTheSelectedEntry)
{
    list.setCurrentRow(1);
    tab.setHistory(entries); // selects nothing
    EXPECT_EQ(copied(list.currentRow()), "from before");
    EXPECT_EQ(copied(0), "Grüße \"aus\" dem\nBüro — bald");
    list.setCurrentRow(1);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&tab));
    QTest::keySequence(&list, QKeySequence::Copy);
    EXPECT_EQ(QApplication::clipboard()->text(), "b");
}

TEST_F(HistoryTabTest, SelectionIsSeenOnEveryRow)
{
    for (const int row : {0, 1}) {
        list.setCurrentRow(row);
        const QImage picture = list.viewport()->grab().toImage();
        const QRect area = list.visualItemRect(list.item(row));
        EXPECT_EQ(picture.pixelColor(area.right() - 3, area.center().y()).name().toStdString(), "#2d2e4a") << row;
    }
}

TEST_F(HistoryTabTest, GivesEveryLineOfLongTextsRoom)
{
    std::string text;
    for (int i = 0; i < 400; ++i)
        text += i % 3 ? "word " : "longer ";
    tab.setHistory(std::vector<HistoryEntry>(100, {"Nov 17, 09:05", text}));
    const QListWidgetItem* last = list.item(99);
    ASSERT_TRUE(test::waitFor([&] { return list.visualItemRect(last).isValid(); }));
    ASSERT_TRUE(test::waitFor([&] { return list.verticalScrollBar()->isVisible(); }));

    // What the style sheet and the style leave of the width.
    const int margins = 2 * (10 + list.style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, &list) + 1);
    const QFontMetrics metrics = list.fontMetrics();
    const QRect wrapped =
        metrics.boundingRect(QRect(0, 0, list.viewport()->width() - margins, 10'000), Qt::TextWordWrap, last->text());
    const int lines = (wrapped.height() + metrics.leading()) / metrics.lineSpacing(); // items do without the leading
    EXPECT_GE(list.visualItemRect(last).height(), lines * metrics.height() + 2 * 8);
    list.scrollToBottom();
    EXPECT_EQ(list.visualItemRect(last).bottom(), list.viewport()->rect().bottom());
}

} // namespace
} // namespace quillo

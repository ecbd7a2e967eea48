#include "ui/settings/history_tab.h"

#include "ui/settings/look.h"

#include <QApplication>
#include <QClipboard>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QShortcut>
#include <QStyledItemDelegate>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace quillo {

namespace {

QString listStyle()
{
    return QString("QListWidget { background-color: %1; border: 1px solid %2; "
                   " border-radius: 6px; color: %3; font-size: 13px; }"
                   "QListWidget::item { padding: 8px 10px; border-bottom: 1px solid %4; }"
                   "QListWidget::item:selected { background-color: %5; }"
                   "QListWidget::item:alternate { background-color: %6; }")
        .arg(color::window, color::border, color::text, color::rowBorder, color::rowSelected, color::rowAlternate);
}

QString clearStyle()
{
    return QString("QPushButton { background-color: %1; color: %2; border: none; "
                   " border-radius: 6px; padding: 6px 16px; font-weight: bold; }"
                   "QPushButton:hover { background-color: %3; }")
        .arg(color::danger, color::dangerText, color::dangerHover);
}

// Draws the items as the list's style sheet means it.
class ItemDelegate final : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    // The padding is added to the size of the text, but the text is wrapped as if there were none: without help the
    // last lines of a long text find no room.
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        constexpr int padding = 2 * 10;
        QStyleOptionViewItem narrower = option;
        narrower.rect.setWidth(option.rect.width() - padding);
        return QStyledItemDelegate::sizeHint(narrower, index);
    }

protected:
    // The rule for alternate rows would win over the one for selected rows.
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        if (option->state & QStyle::State_Selected)
            option->features.setFlag(QStyleOptionViewItem::Alternate, false);
    }
};

QString displayText(const HistoryEntry& entry)
{
    return QString::fromStdString(entry.timestamp + " \u2014 " + entry.text);
}

QString bareText(const QListWidgetItem& item)
{
    return item.data(Qt::UserRole).toString();
}

QPushButton* makeButton(const char* objectName, const QString& text)
{
    auto* const button = new QPushButton(text);
    button->setObjectName(objectName);
    button->setMinimumWidth(110);
    fixHeight(button, 30);
    return button;
}

} // namespace

HistoryTab::HistoryTab(std::function<void()> onClearHistory)
    : SettingsPage("historyTab", "History")
    , historyList_(new QListWidget)
    , historyCountLabel_(makeLabel("secondary"))
    , onClearHistory_(std::move(onClearHistory))
{
    historyCountLabel_->setObjectName("historyCountLabel");
    auto* const layout = makeColumn("Transcription History", 10, 12, historyCountLabel_);
    buildList();
    layout->addWidget(historyList_, 1);

    auto* const copy = makeButton("historyCopyButton", "Copy Selected");
    connect(copy, &QPushButton::clicked, this, &HistoryTab::copySelected);
    auto* const clear = makeButton("historyClearButton", "Clear History");
    clear->setStyleSheet(clearStyle());
    connect(clear, &QPushButton::clicked, this, &HistoryTab::clearHistory);
    auto* const buttons = new QHBoxLayout;
    buttons->setSpacing(8);
    buttons->addStretch();
    buttons->addWidget(copy);
    buttons->addWidget(clear);
    layout->addLayout(buttons);
    showCount();
}

void HistoryTab::buildList()
{
    historyList_->setObjectName("historyList");
    historyList_->setAccessibleName("Transcription History");
    historyList_->setWordWrap(true);
    historyList_->setAlternatingRowColors(true);
    historyList_->setStyleSheet(listStyle());
    historyList_->setItemDelegate(new ItemDelegate(historyList_));
    historyList_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff); // a word without end is cut
    historyList_->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel); // an item can be taller than the list
    // Wrapping hundreds of long texts takes longer than a window may take to appear.
    historyList_->setLayoutMode(QListView::Batched);
    historyList_->setBatchSize(20);
    // The list's own copies the time as well.
    new QShortcut(QKeySequence::Copy, historyList_, this, &HistoryTab::copySelected, Qt::WidgetShortcut);
}

void HistoryTab::setHistory(const std::vector<HistoryEntry>& history)
{
    if (shows(history)) {
        historyList_->setCurrentItem(nullptr);
        historyList_->scrollToTop();
        return;
    }
    historyList_->clear();
    for (const HistoryEntry& entry : history) {
        auto* const item = new QListWidgetItem(displayText(entry), historyList_);
        item->setData(Qt::UserRole, QString::fromStdString(entry.text));
    }
    showCount();
}

bool HistoryTab::shows(const std::vector<HistoryEntry>& history) const
{
    const auto shown = [this, row = 0](const HistoryEntry& entry) mutable {
        const QListWidgetItem& item = *historyList_->item(row++);
        return item.text() == displayText(entry) && bareText(item) == QString::fromStdString(entry.text);
    };
    return static_cast<std::size_t>(historyList_->count()) == history.size()
        && std::all_of(history.begin(), history.end(), shown);
}

void HistoryTab::showCount()
{
    historyCountLabel_->setText(QString("%1 entries").arg(historyList_->count()));
}

void HistoryTab::copySelected() const
{
    if (const QListWidgetItem* const item = historyList_->currentItem())
        QApplication::clipboard()->setText(bareText(*item));
}

void HistoryTab::clearHistory()
{
    historyList_->clear();
    showCount();
    onClearHistory_();
}

} // namespace quillo

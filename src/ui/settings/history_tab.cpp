#include "ui/settings/history_tab.h"

#include <utility>

namespace quillo {

HistoryTab::HistoryTab(QWidget* parent)
    : QWidget(parent)
{
    setObjectName("historyTab");
    setAccessibleName("History");
}

void HistoryTab::setHistory(const std::vector<HistoryEntry>& history)
{
    history_ = history;
}

void HistoryTab::setOnClearHistory(std::function<void()> onClearHistory)
{
    onClearHistory_ = std::move(onClearHistory);
}

} // namespace quillo

#pragma once

#include "history/history_store.h"

#include <QWidget>

#include <functional>
#include <vector>

namespace quillo {

/// The page of past transcriptions, newest first. User-interface thread.
class HistoryTab final : public QWidget {
public:
    explicit HistoryTab(QWidget* parent = nullptr);

    /// Replaces what the page shows.
    void setHistory(const std::vector<HistoryEntry>& history);

    /// Runs when the user clears the history.
    void setOnClearHistory(std::function<void()> onClearHistory);

private:
    std::vector<HistoryEntry> history_;
    std::function<void()> onClearHistory_;
};

} // namespace quillo

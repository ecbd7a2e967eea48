#pragma once

#include "history/history_store.h"
#include "ui/settings/settings_page.h"

#include <functional>
#include <vector>

class QLabel;
class QListWidget;

namespace quillo {

/// The page of past transcriptions, newest first: copies one back to the clipboard, and clears them all.
/// User-interface thread.
class HistoryTab final : public SettingsPage {
public:
    /// onClearHistory runs when the user has cleared the history.
    explicit HistoryTab(std::function<void()> onClearHistory);

    /// Replaces what the page shows. Nothing is selected then. Quick also with a full history of long texts: the list
    /// is laid out bit by bit while the user looks at its beginning, and kept when it already shows these entries.
    void setHistory(const std::vector<HistoryEntry>& history);

private:
    void buildList();
    void copySelected() const;
    void clearHistory();
    bool shows(const std::vector<HistoryEntry>& history) const;
    void showCount();

    QListWidget* historyList_; // the widgets belong to their parents
    QLabel* historyCountLabel_;
    const std::function<void()> onClearHistory_;
};

} // namespace quillo

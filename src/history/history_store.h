#pragma once

#include <string>
#include <vector>

namespace quillo {

/// One past transcription, UTF-8.
struct HistoryEntry {
    std::string timestamp; ///< local time, such as "Nov 17, 09:05"
    std::string text;

    bool operator==(const HistoryEntry&) const = default;
};

/// The file of past transcriptions: "history.json" in the toolkit's data folder of the application, at most 500
/// entries, newest first, readable by its owner only.
///
/// Stateless; each operation reads or replaces the whole file, in one go, so that neither a crash nor a full disk
/// damages it. Any thread: operations wait for each other and, some tenths of a second, for a program that keeps the
/// file for itself. A file that is missing, unreadable or no JSON array counts as empty, and failures to write are not
/// noticed.
class HistoryStore {
public:
    /// Puts a text in front of the others, with the present time, and drops what is over the limit.
    static void append(const std::string& text);

    /// All entries. What is not a text, or not there, is empty.
    static std::vector<HistoryEntry> load();

    /// Deletes the file.
    static void clear();
};

} // namespace quillo

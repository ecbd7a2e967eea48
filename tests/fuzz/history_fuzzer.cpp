#include "fuzz/fuzzing.h"

#include "history/history_store.h"
#include "support/files.h"
#include "support/private_profile.h"

#include <QFile>
#include <QJsonDocument>

#include <algorithm>

namespace quillo {
namespace {

using fuzz::require;

const test::PrivateProfile profile;
const auto historyFile = profile.dataRoot() / "Quillo" / "history.json";

/// As the toolkit stores it: what is no valid UTF-8 has been replaced.
std::string stored(const std::string& text)
{
    return QString::fromStdString(text).toStdString();
}

void checkFile(const std::string& content, const std::string& text)
{
    test::writeFile(historyFile, content);
    const std::vector<HistoryEntry> before = HistoryStore::load();
    HistoryStore::append(text);
    const std::vector<HistoryEntry> after = HistoryStore::load();

    require(after.size() == std::min<std::size_t>(before.size() + 1, 500), "one entry more, 500 at most");
    require(after.front().text == stored(text) && !after.front().timestamp.empty(), "the new entry is in front");
    require(std::equal(after.begin() + 1, after.end(), before.begin()), "the others follow unchanged");

    QFile file(QString::fromStdString(historyFile.string()));
    require(file.open(QIODevice::ReadOnly), "there is a file");
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    require(error.error == QJsonParseError::NoError && document.isArray(), "the file is a valid array");
    const auto others = QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;
    require(!(file.permissions() & others), "only its owner may read it");
}

} // namespace
} // namespace quillo

/// The input is the file that is there before; its end serves as the text to append as well.
void quillo::fuzz::tryInput(const std::string& input)
{
    checkFile(input, input.substr(input.size() - std::min<std::size_t>(input.size(), 24)));
}

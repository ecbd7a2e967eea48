#include "history/history_store.h"

#include "base/files.h"
#include "platform/file_in_use.h"

#include <QByteArray>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QStandardPaths>
#include <QString>

#include <mutex>

namespace quillo {

namespace {

constexpr qsizetype maxEntries = 500;
constexpr QLatin1String timestampKey("timestamp");
constexpr QLatin1String textKey("text");

std::mutex fileMutex; ///< held while the file is read or changed

QString filePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + "/history.json";
}

QJsonArray parse(const QByteArray& content)
{
    return QJsonDocument::fromJson(content).array();
}

/// English on every system.
QString presentTime()
{
    return QLocale::c().toString(QDateTime::currentDateTime(), QStringLiteral("MMM dd, HH:mm"));
}

} // namespace

void HistoryStore::append(const std::string& text)
{
    const QJsonObject entry{{timestampKey, presentTime()}, {textKey, QString::fromStdString(text)}};

    const std::lock_guard lock(fileMutex);
    QJsonArray entries = parse(readContent(filePath()));
    entries.prepend(entry);
    while (entries.size() > maxEntries)
        entries.removeLast();
    makePrivate(filePath());
    replaceContent(filePath(), QJsonDocument(entries).toJson(QJsonDocument::Compact));
}

std::vector<HistoryEntry> HistoryStore::load()
{
    const QByteArray content = [] {
        const std::lock_guard lock(fileMutex);
        return readContent(filePath());
    }();

    const QJsonArray entries = parse(content);
    std::vector<HistoryEntry> history;
    for (const QJsonValue element : entries) {
        const QJsonObject entry = element.toObject();
        history.push_back({entry[timestampKey].toString().toStdString(), entry[textKey].toString().toStdString()});
    }
    return history;
}

void HistoryStore::clear()
{
    const std::lock_guard lock(fileMutex);
    platform::removeFile(filePath().toStdU16String());
}

} // namespace quillo

#include "history/history_store.h"

#include "base/private_file.h"
#include "platform/file_in_use.h"

#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QSaveFile>
#include <QStandardPaths>
#include <QString>

#include <chrono>
#include <mutex>

namespace quillo {

namespace {

constexpr qsizetype maxEntries = 500;
constexpr QLatin1String timestampKey("timestamp");
constexpr QLatin1String textKey("text");
constexpr std::chrono::milliseconds patience(300); ///< with programs that have the file open

std::mutex fileMutex; ///< held while the file is read or changed

QString filePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + "/history.json";
}

QByteArray readFile()
{
    QByteArray content;
    const auto read = [&content] {
        QFile file(filePath());
        if (!file.open(QIODevice::ReadOnly))
            return !file.exists();
        content = file.readAll();
        return true;
    };
    platform::retryWhileInUse(read, patience);
    return content;
}

void replaceFile(const QByteArray& content)
{
    const auto replace = [&content] {
        QSaveFile file(filePath());
        // The toolkit takes a write that a full disk cuts short for a success, and would put the stump in place.
        const bool isWhole = file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.flush();
        return !isWhole || file.commit();
    };
    makePrivate(filePath());
    platform::retryWhileInUse(replace, patience);
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
    QJsonArray entries = parse(readFile());
    entries.prepend(entry);
    while (entries.size() > maxEntries)
        entries.removeLast();
    replaceFile(QJsonDocument(entries).toJson(QJsonDocument::Compact));
}

std::vector<HistoryEntry> HistoryStore::load()
{
    const QByteArray content = [] {
        const std::lock_guard lock(fileMutex);
        return readFile();
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
    platform::removeFile(filePath().toStdU16String(), patience);
}

} // namespace quillo

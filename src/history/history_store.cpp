#include "history/history_store.h"

#include "base/private_file.h"

#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QSaveFile>
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

QByteArray readFile()
{
    QFile file(filePath());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void replaceFile(const QByteArray& content)
{
    makePrivate(filePath());
    QSaveFile file(filePath());
    // The toolkit takes a write that a full disk cuts short for a success, and would put the stump in place.
    if (file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.flush())
        file.commit();
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
    QFile::remove(filePath());
}

} // namespace quillo

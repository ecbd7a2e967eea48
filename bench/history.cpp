// Times an append to a history of ENTRIES texts: `bench_history FOLDER COUNT ENTRIES`. FOLDER becomes the toolkit's
// data folder. Each of COUNT lines has the milliseconds of HistoryStore::append, those of the least that such a store
// can do with a file of the same content beside it (read, parse, write by QSaveFile), and those of HistoryStore::load.
#include "history/history_store.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QStandardPaths>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr int mostEntries = 500;
constexpr int entrySize = 2048;

QByteArray read(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool write(const QString& path, const QByteArray& content)
{
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.commit();
}

/// A text of 2 KB; each number has another.
QString text(int number)
{
    QString words;
    while (words.size() < entrySize)
        words += QString("dictated words, number %1; ").arg(number);
    return words.left(entrySize);
}

QByteArray historyOf(int count)
{
    QJsonArray entries;
    for (int number = 0; number < count; ++number)
        entries.append(QJsonObject{{"timestamp", "Nov 17, 09:05"}, {"text", text(number)}});
    return QJsonDocument(entries).toJson(QJsonDocument::Compact);
}

void readParseWrite(const QString& path)
{
    write(path, QJsonDocument::fromJson(read(path)).toJson(QJsonDocument::Compact));
}

template<typename Function> double milliseconds(Function function)
{
    const auto begin = std::chrono::steady_clock::now();
    function();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: bench_history FOLDER COUNT ENTRIES\n");
        return 1;
    }
    qputenv("XDG_DATA_HOME", argv[1]);
    const QCoreApplication application(argc, argv);
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    const QString ours = folder + "/history.json";
    const QString bare = folder + "/bare.json";
    const int count = std::stoi(argv[3]);
    const QByteArray before = historyOf(count);
    if (!QDir().mkpath(folder) || !write(bare, before))
        return 1;
    std::vector<quillo::HistoryEntry> entries;
    for (int number = 0; number < std::stoi(argv[2]); ++number) {
        if (!write(ours, before))
            return 1;
        const std::string added = text(count + number).toStdString();
        const double append = milliseconds([&] { quillo::HistoryStore::append(added); });
        const double least = milliseconds([&] { readParseWrite(bare); });
        const double load = milliseconds([&] { entries = quillo::HistoryStore::load(); });
        std::printf("%.3f %.3f %.3f\n", append, least, load);
        const auto expected = static_cast<std::size_t>(std::min(count + 1, mostEntries));
        if (entries.size() != expected || entries.front().text != added)
            return 1;
    }
    return 0;
}

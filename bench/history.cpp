// Times an append to a full history: `bench_history FOLDER COUNT`. FOLDER becomes the toolkit's data folder. Each of
// COUNT lines has the milliseconds of HistoryStore::append and those of the least that such a store can do with a file
// of the same content beside it: read, parse, write by QSaveFile.
#include "history/history_store.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QStandardPaths>

#include <chrono>
#include <cstdio>
#include <string>

namespace {

constexpr int entryCount = 500;
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

QByteArray fullHistory()
{
    QJsonArray entries;
    for (int number = 0; number < entryCount; ++number)
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
    if (argc != 3) {
        std::fprintf(stderr, "usage: bench_history FOLDER COUNT\n");
        return 1;
    }
    qputenv("XDG_DATA_HOME", argv[1]);
    const QCoreApplication application(argc, argv);
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    const QString ours = folder + "/history.json";
    const QString bare = folder + "/bare.json";
    if (!QDir().mkpath(folder) || !write(ours, fullHistory()) || !write(bare, fullHistory()))
        return 1;
    for (int number = 0; number < std::stoi(argv[2]); ++number) {
        const std::string added = text(entryCount + number).toStdString();
        const double append = milliseconds([&] { quillo::HistoryStore::append(added); });
        const double least = milliseconds([&] { readParseWrite(bare); });
        std::printf("%.3f %.3f\n", append, least);
    }
    const auto entries = quillo::HistoryStore::load();
    return entries.size() == entryCount && entries.back().text.size() == entrySize ? 0 : 1;
}

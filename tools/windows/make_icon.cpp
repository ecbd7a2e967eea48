// Writes the program's icon as Windows wants it in the program's file, at all its sizes:   quillo_make_icon ICO_FILE
#include "app/icon.h"

#include <QBuffer>
#include <QDataStream>
#include <QGuiApplication>
#include <QSaveFile>

#include <algorithm>
#include <cstdio>
#include <utility>
#include <vector>

namespace {

QByteArray png(int size)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    quillo::drawIcon(size).save(&buffer, "PNG");
    return bytes;
}

/// A folder of the pictures' sizes and places, then the pictures.
QByteArray icoFile()
{
    std::vector<std::pair<int, QByteArray>> pictures;
    for (const QSize& size : quillo::programIcon().availableSizes())
        pictures.emplace_back(size.width(), png(size.width()));
    std::sort(pictures.begin(), pictures.end());

    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    stream << quint16(0) << quint16(1) << quint16(pictures.size()); // 1 for icons
    quint32 offset = 6 + 16 * static_cast<quint32>(pictures.size());
    for (const auto& [size, picture] : pictures) {
        const auto edge = static_cast<quint8>(size); // 256 is written as 0
        stream << edge << edge << quint8(0) << quint8(0) << quint16(1) << quint16(32);
        stream << static_cast<quint32>(picture.size()) << offset;
        offset += static_cast<quint32>(picture.size());
    }
    for (const auto& picture : pictures)
        bytes += picture.second;
    return bytes;
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    if (argc != 2) {
        std::fputs("usage: quillo_make_icon ICO_FILE\n", stderr);
        return 2;
    }
    QSaveFile file(QString::fromLocal8Bit(argv[1]));
    if (!file.open(QIODevice::WriteOnly) || file.write(icoFile()) < 0 || !file.commit()) {
        std::fprintf(stderr, "cannot write %s\n", argv[1]);
        return 1;
    }
    return 0;
}

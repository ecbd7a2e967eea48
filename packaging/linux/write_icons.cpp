// Writes the program's icon at all its sizes as an icon theme wants it:   quillo_write_icons FOLDER
#include "app/icon.h"

#include <QDir>
#include <QGuiApplication>

#include <cstdio>

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    if (argc != 2) {
        std::fputs("usage: quillo_write_icons FOLDER\n", stderr);
        return 2;
    }
    for (const QSize& size : quillo::programIcon().availableSizes()) {
        const QString folder = QString("%1/%2x%2/apps").arg(QString::fromLocal8Bit(argv[1])).arg(size.width());
        if (!QDir().mkpath(folder) || !quillo::drawIcon(size.width()).save(folder + "/quillo.png"))
            return 1;
    }
    return 0;
}

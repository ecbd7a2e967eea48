// The least that a resident Qt program can be: an icon in the tray and an event loop. Quillo's memory, wake-ups and
// start are measured against it. Says "ready" on the standard error stream once the loop runs. With `--theme FILE` the
// file is the application's style sheet.
#include <QApplication>
#include <QFile>
#include <QSystemTrayIcon>
#include <QTimer>

#include <cstdio>

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    if (const QStringList arguments = QApplication::arguments(); arguments.size() == 3 && arguments[1] == "--theme") {
        QFile theme(arguments[2]);
        if (!theme.open(QIODevice::ReadOnly))
            return 1;
        application.setStyleSheet(QString::fromUtf8(theme.readAll()));
    }
    QPixmap pixmap(32, 32);
    pixmap.fill(Qt::darkCyan);
    QSystemTrayIcon tray{QIcon(pixmap)};
    tray.show();
    QTimer::singleShot(0, [] { std::fputs("ready\n", stderr); });
    return QApplication::exec();
}

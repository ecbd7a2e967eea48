// The least that a resident Qt program can be: an icon in the tray and an event loop. Quillo's memory, wake-ups and
// start are measured against it. Says "ready" on the standard error stream once the loop runs.
#include <QApplication>
#include <QSystemTrayIcon>
#include <QTimer>

#include <cstdio>

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QPixmap pixmap(32, 32);
    pixmap.fill(Qt::darkCyan);
    QSystemTrayIcon tray{QIcon(pixmap)};
    tray.show();
    QTimer::singleShot(0, [] { std::fputs("ready\n", stderr); });
    return QApplication::exec();
}

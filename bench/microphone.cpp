// Presses the button of the microphone test: `bench_microphone COUNT`. Each of COUNT tests prints "[test]", the
// monotonic nanoseconds of the click, and those when the first level that is not silence had been painted. To be run
// with stream_times.cpp preloaded, which tells what the sound system did in between, and with a sound to be heard.
#include "app/theme.h"
#include "audio/audio_capture.h"
#include "ui/settings/microphone_tab.h"

#include <QApplication>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>

#include <chrono>
#include <cstdio>
#include <string>

namespace {

constexpr int settling = 300; // ms

/// Notes when a level has been painted.
class LevelWatch final : public QObject {
public:
    bool painted = false;

    bool eventFilter(QObject* object, QEvent* event) override
    {
        painted = painted || (event->type() == QEvent::Paint && static_cast<QProgressBar*>(object)->value() > 0);
        return false;
    }
};

long long now()
{
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void settle()
{
    QEventLoop loop;
    QTimer::singleShot(settling, &loop, &QEventLoop::quit);
    loop.exec();
}

void test(QPushButton& button, QProgressBar& meter)
{
    LevelWatch watch;
    meter.installEventFilter(&watch);
    const long long clicked = now();
    button.click();
    while (!watch.painted)
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    std::fprintf(stderr, "[test] %lld %lld\n", clicked, now());
    button.click();
    settle();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: bench_microphone COUNT\n");
        return 1;
    }
    QApplication application(argc, argv);
    quillo::applyTheme(application);
    quillo::AudioCapture capture;
    capture.initialise(); // as the program has done long before
    quillo::MicrophoneTab tab(&capture);
    tab.show();
    settle();
    for (int left = std::stoi(argv[1]); left > 0; --left)
        test(*tab.findChild<QPushButton*>("micTestButton"), *tab.findChild<QProgressBar*>("levelMeter"));
    return 0;
}

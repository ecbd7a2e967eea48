// Times the settings window: `bench_settings quillo|bare FOLDER`. Says on one line how many milliseconds pass from the
// call to the first painted picture, when the window is shown for the first time in the process and when it is shown
// again. FOLDER becomes the user's folder for everything; the history in it gets 500 entries of 2 KB. `bare` is the
// least that such a window can be: six empty pages under the same style sheet.
#include "app/theme.h"
#include "audio/audio_capture.h"
#include "history/history_store.h"
#include "model/model_manager.h"
#include "ui/settings/settings_panel.h"

#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QTabWidget>
#include <QTimer>
#include <QVBoxLayout>

#include <cstdio>
#include <functional>
#include <memory>
#include <string_view>

namespace {

constexpr int entryCount = 500;
constexpr int entrySize = 2048;
constexpr int settling = 500; // ms

/// Notes when a dialog has been painted.
class PaintWatch final : public QObject {
public:
    bool painted = false;

    bool eventFilter(QObject* object, QEvent* event) override
    {
        painted = painted || (event->type() == QEvent::Paint && object->inherits("QDialog"));
        return false;
    }
};

double timeToPaint(const std::function<void()>& show)
{
    PaintWatch watch;
    qApp->installEventFilter(&watch);
    QElapsedTimer timer;
    timer.start();
    show();
    while (!watch.painted)
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

void settle()
{
    QEventLoop loop;
    QTimer::singleShot(settling, &loop, &QEventLoop::quit);
    loop.exec();
}

bool fillHistory()
{
    QJsonArray entries;
    for (int number = 0; number < entryCount; ++number) {
        const QString words = QString("dictated words, number %1; ").arg(number);
        entries.append(QJsonObject{
            {"timestamp", "Nov 17, 09:05"}, {"text", words.repeated(entrySize / words.size() + 1).left(entrySize)}});
    }
    const QDir folder(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation));
    QFile file(folder.filePath("history.json"));
    return folder.mkpath(".") && file.open(QIODevice::WriteOnly)
        && file.write(QJsonDocument(entries).toJson(QJsonDocument::Compact)) > 0;
}

std::unique_ptr<QDialog> makeBareDialog()
{
    auto dialog = std::make_unique<QDialog>();
    dialog->resize(580, 640);
    auto* const layout = new QVBoxLayout(dialog.get());
    auto* const tabs = new QTabWidget;
    for (const char* title : {" Models ", " Mic ", " Hotkey ", " Cloud ", " History ", " Style "})
        tabs->addTab(new QWidget, title);
    layout->addWidget(tabs, 1);
    layout->addWidget(new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel | QDialogButtonBox::Apply));
    return dialog;
}

void closeDialogs()
{
    for (QWidget* window : QApplication::topLevelWidgets())
        if (window->inherits("QDialog"))
            window->close();
}

void report(const std::function<void()>& show)
{
    const double first = timeToPaint(show);
    settle();
    closeDialogs();
    settle();
    std::printf("%.3f %.3f\n", first, timeToPaint(show));
}

} // namespace

int main(int argc, char** argv)
{
    const std::string_view which = argc == 3 ? argv[1] : "";
    if (which != "quillo" && which != "bare") {
        std::fprintf(stderr, "usage: bench_settings quillo|bare FOLDER\n");
        return 1;
    }
    for (const char* variable : {"XDG_DATA_HOME", "XDG_CONFIG_HOME"})
        qputenv(variable, argv[2]);
    QApplication application(argc, argv);
    QApplication::setApplicationName("Quillo");
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setFont(QFont("Segoe UI", 10));
    quillo::applyTheme(application);
    if (!fillHistory())
        return 1;
    if (which == "bare") {
        std::unique_ptr<QDialog> dialog;
        report([&] {
            if (!dialog)
                dialog = makeBareDialog();
            dialog->show();
        });
        return 0;
    }
    quillo::model::ModelManager models;
    quillo::AudioCapture capture;
    capture.listInputDevices(); // initialises it, as the program has done long before
    quillo::SettingsPanel panel;
    panel.setModelManager(&models);
    panel.setAudioCapture(&capture);
    report([&] { panel.show(); });
    return 0;
}

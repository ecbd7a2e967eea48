#include "app/application.h"
#include "app/theme.h"
#include "audio/audio_capture.h"
#include "base/log.h"
#include "base/utf8_path.h"
#include "net/curl_runtime.h"
#include "platform/console_output.h"
#include "platform/display_loss.h"
#include "platform/instance_guard.h"
#include "settings/paths.h"
#include "transcribe/graphics_trial.h"
#include "transcribe/whisper_transcriber.h"

#include <QApplication>
#include <QFont>
#include <QLoggingCategory>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <string_view>

namespace {

bool asksForVerbose(std::string_view argument)
{
    return argument == "--verbose" || argument == "-v";
}

// Any thread.
void writeToolkitMessage(QtMsgType type, const QMessageLogContext& /*context*/, const QString& message)
{
    const auto write = type == QtCriticalMsg || type == QtFatalMsg ? quillo::logError : quillo::logMessage;
    for (const QString& line : message.split('\n', Qt::SkipEmptyParts))
        write("[Quillo] Qt: %s\n", qUtf8Printable(line));
    if (type == QtFatalMsg)
        std::_Exit(EXIT_FAILURE); // the toolkit would abort: without a display, for one
    quillo::platform::leaveIfDisplayIsLost();
}

int runQuillo(int argc, char** argv)
{
    qInstallMessageHandler(writeToolkitMessage);
    QApplication qtApplication(argc, argv);
    // Whatever the environment says: a warning comes before the exit that is to be prevented.
    QLoggingCategory::defaultCategory()->setEnabled(QtWarningMsg, true);
    // The toolkit's data folder of the application is then the one that the program itself computes.
    QApplication::setApplicationName("Quillo");
    QApplication::setFont(QFont("Segoe UI", 10));
    quillo::applyTheme(qtApplication);
    quillo::Application application(argc, argv);
    return application.run();
}

} // namespace

int main(int argc, char** argv)
{
    quillo::platform::connectStandardError();
    quillo::verboseOutput = std::any_of(argv + 1, argv + argc, asksForVerbose);
    qunsetenv("GGML_BACKEND_PATH"); // names a library that whisper.cpp would load; before there are other threads
    if (argc > 2 && argv[1] == std::string_view(quillo::GraphicsTrial::argument))
        std::_Exit(quillo::GraphicsTrial::run(quillo::modelsDir() + quillo::pathSeparator + argv[2]));
    if (!quillo::platform::takeInstanceGuard("Quillo_SingleInstance"))
        return 0;
    int result = 1;
    try {
        result = runQuillo(argc, argv);
    } catch (const std::exception& failure) {
        quillo::logError("Fatal: %s\n", failure.what());
    }
    if (quillo::CurlRuntime::inUse() || quillo::AudioCapture::libraryInUse() || quillo::WhisperTranscriber::inUse())
        std::_Exit(result); // a call still runs on a thread of its own, and the libraries it uses must not go
    return result;
}

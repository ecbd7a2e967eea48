#include "audio/audio_capture.h"
#include "base/log.h"
#include "engine/engine.h"
#include "model/model_manager.h"
#include "platform/clipboard.h"
#include "platform/instance_guard.h"
#include "platform/termination.h"
#include "transcribe/whisper_transcriber.h"

#include <QApplication>

#include <algorithm>
#include <exception>
#include <string_view>

namespace {

using namespace quillo;

bool asksForVerbose(std::string_view argument)
{
    return argument == "--verbose" || argument == "-v";
}

/// Owns the components, wires them with the default settings and runs the event loop until the program is told to end.
int runDictation(QApplication& application)
{
    Engine engine;
    model::ModelManager models;
    AudioCapture capture;
    WhisperTranscriber transcriber;

    engine.setAudioCapture(&capture);
    engine.setLocalTranscriber(&transcriber);
    if (const std::string path = models.activeModelPath(); !path.empty())
        transcriber.loadModel(path);

    // Every way of leaving finishes a recording in progress first.
    const auto leave = [&engine] {
        engine.stop();
        QCoreApplication::quit();
    };
    const platform::TerminationRequests terminationRequests(leave);
    QObject::connect(&application, &QGuiApplication::commitDataRequest, &application, leave, Qt::DirectConnection);

    engine.start();
    const int result = QApplication::exec();
    engine.stop();
    platform::settleClipboard();
    return result;
}

} // namespace

int main(int argc, char** argv)
{
    if (!platform::takeInstanceGuard("Quillo_SingleInstance"))
        return 0;
    verboseOutput = std::any_of(argv + 1, argv + argc, asksForVerbose);
    try {
        QApplication application(argc, argv);
        QApplication::setApplicationName("Quillo");
        QApplication::setQuitOnLastWindowClosed(false);
        return runDictation(application);
    } catch (const std::exception& failure) {
        logError("Fatal: %s\n", failure.what());
        return 1;
    }
}

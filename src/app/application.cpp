#include "app/application.h"

#include "app/tray_controller.h"
#include "audio/audio_capture.h"
#include "base/log.h"
#include "base/utf8_path.h"
#include "engine/engine.h"
#include "model/model_manager.h"
#include "platform/clipboard.h"
#include "platform/termination.h"
#include "settings/paths.h"
#include "settings/settings_data.h"
#include "transcribe/cloud_transcriber.h"
#include "transcribe/graphics_trial.h"
#include "transcribe/whisper_transcriber.h"
#include "ui/overlay/overlay_controller.h"
#include "ui/settings/settings_panel.h"

#include <QApplication>
#include <QTimer>

#include <algorithm>
#include <limits>

namespace quillo {

namespace {

constexpr int maxMinutes = std::numeric_limits<int>::max() / 60;

// A provider without a key is left out, whatever its switch says.
std::vector<CloudProvider> cloudProviders(const SettingsData& settings)
{
    std::vector<CloudProvider> providers;
    if (!settings.openaiKey.empty())
        providers.push_back({"openai", settings.openaiKey, {}, settings.openaiEnabled});
    if (!settings.mistralKey.empty())
        providers.push_back({"mistral", settings.mistralKey, {}, settings.mistralEnabled});
    return providers;
}

} // namespace

struct Application::Impl {
    Engine engine;
    TrayController tray;
    SettingsPanel settingsPanel;
    model::ModelManager modelManager;
    AudioCapture audioCapture;
    WhisperTranscriber localTranscriber;
    GraphicsTrial graphicsTrial;
    CloudTranscriber cloudTranscriber;
    OverlayController overlay;

    explicit Impl(const std::string& program);

    void connectComponents();
    void installCallbacks();
    void distribute(const SettingsData& settings);
    void loadActiveModel();
    void applySettings(const SettingsData& settings);
    void quit();
};

Application::Impl::Impl(const std::string& program)
    : graphicsTrial(program, configDir() + pathSeparator + "graphics.txt")
{
}

void Application::Impl::connectComponents()
{
    settingsPanel.setModelManager(&modelManager);
    settingsPanel.setAudioCapture(&audioCapture);
    engine.setAudioCapture(&audioCapture);
    engine.setLocalTranscriber(&localTranscriber);
    engine.setCloudTranscriber(&cloudTranscriber);
    engine.setOverlay(&overlay);
}

void Application::Impl::installCallbacks()
{
    engine.setOnTranscription([this](const std::string& text) { settingsPanel.addHistoryEntry(text); });
    settingsPanel.setOnCloudTest(
        [this](const std::string& provider, const std::string& key, std::function<void(bool)> done) {
            cloudTranscriber.testConnection(provider, key, std::move(done));
        });
    settingsPanel.setOnActiveModelChanged([this](const std::string& /*id*/) { loadActiveModel(); });
    settingsPanel.setOnSettingsApplied([this](const SettingsData& settings) { applySettings(settings); });
    tray.setOnSettings([this] { settingsPanel.show(); });
    tray.setOnQuit([this] { quit(); });
}

void Application::Impl::distribute(const SettingsData& settings)
{
    audioCapture.setDeviceId(settings.inputDeviceId);
    audioCapture.setVadSensitivity(settings.vadSensitivity);
    engine.setToggleMode(settings.toggleMode);
    // Out of range values of a damaged settings file end at the bounds, or with the engine's default.
    engine.setMaxDurationSeconds(std::clamp(settings.maxRecordingMinutes, 0, maxMinutes) * 60);
    engine.setTranscriptionSource(settings.transcriptionSource);
    engine.setHotkey(settings.hotkey);
    overlay.setOpacity(settings.overlayOpacity);
    cloudTranscriber.setProviders(cloudProviders(settings));
}

void Application::Impl::loadActiveModel()
{
    const std::string path = modelManager.activeModelPath();
    if (path.empty())
        return;
    const bool onGraphics = graphicsTrial.hasPassed(path);
    using Processor = WhisperTranscriber::Processor;
    const bool isLoaded = localTranscriber.loadModel(path, onGraphics ? Processor::Graphics : Processor::Central);
    if (onGraphics)
        localTranscriber.warmUp();
    else if (isLoaded)
        graphicsTrial.start(path, [this, path] { localTranscriber.moveToGraphics(path); });
}

void Application::Impl::applySettings(const SettingsData& settings)
{
    distribute(settings);
    engine.restartHotkey();
    logMessage("[Quillo] Settings applied: %s mode\n", settings.toggleMode ? "toggle" : "push-to-talk");
}

void Application::Impl::quit()
{
    engine.stop();
    QCoreApplication::quit();
}

Application::Application(int argc, char** /*argv*/)
    : impl_(std::make_unique<Impl>(argc > 0 ? QApplication::applicationFilePath().toStdString() : std::string()))
{
    impl_->connectComponents();
    impl_->distribute(impl_->settingsPanel.loadSettings());
    impl_->loadActiveModel();
    impl_->installCallbacks();
}

Application::~Application()
{
    // Before the members that they point to go.
    impl_->engine.stop();
    impl_->settingsPanel.close();
}

int Application::run()
{
    const platform::TerminationRequests terminationRequests({
        .finishWork = [this] { impl_->engine.finishRecording(); },
        .end = [this] { impl_->quit(); },
    });
    const QObject whileRunning;
    QApplication::setQuitOnLastWindowClosed(false); // windows come and go; only Quit ends the program

    impl_->tray.show();
    impl_->engine.start();
    // What takes long and nobody waits for: after the icon.
    QTimer::singleShot(0, &whileRunning, [this] {
        impl_->audioCapture.initialise();
        impl_->cloudTranscriber.initialise();
    });
    const int result = QApplication::exec();
    impl_->engine.stop();
    platform::handOverClipboard();
    return result;
}

} // namespace quillo

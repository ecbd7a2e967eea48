#include "engine/engine_impl.h"

#include "base/log.h"
#include "hotkey/hotkey.h"
#include "hotkey/hotkey_availability.h"
#include "hotkey/hotkey_manager.h"

#include <QCoreApplication>

#include <utility>

namespace quillo {

namespace {

void reportConflicts(const Hotkey& hotkey)
{
    switch (checkHotkeyAvailability(hotkey)) {
    case HotkeyStatus::Available:
        break;
    case HotkeyStatus::ReservedBySystem:
        logError("[Quillo] ERROR: Hotkey '%s' is reserved by the OS and will not work\n", formatHotkey(hotkey).c_str());
        break;
    case HotkeyStatus::RegisteredElsewhere:
        logMessage("[Quillo] Hotkey '%s' may be registered by another application "
                   "(our low-level hook may still work)\n",
            formatHotkey(hotkey).c_str());
        break;
    }
}

} // namespace

Engine::Engine(std::chrono::milliseconds longestHold)
    : impl_(std::make_unique<Impl>(longestHold))
{
}

Engine::~Engine()
{
    stop();
}

void Engine::setAudioCapture(AudioCapture* audioCapture)
{
    impl_->audioCapture = audioCapture;
}

void Engine::setLocalTranscriber(WhisperTranscriber* transcriber)
{
    impl_->localTranscriber = transcriber;
}

void Engine::setCloudTranscriber(CloudTranscriber* transcriber)
{
    impl_->cloudTranscriber = transcriber;
}

void Engine::setOverlay(OverlayController* overlay)
{
    impl_->display.setOverlay(overlay);
}

void Engine::setToggleMode(bool toggleMode)
{
    impl_->toggleMode = toggleMode;
}

void Engine::setMaxDurationSeconds(int seconds)
{
    impl_->maxDurationSeconds = seconds > 0 ? seconds : Impl::defaultMaxDurationSeconds;
}

void Engine::setTranscriptionSource(const std::string& source)
{
    const std::lock_guard lock(impl_->sourceMutex);
    impl_->transcriptionSource = source;
}

void Engine::setHotkey(const std::string& hotkeyText)
{
    impl_->hotkeyText = hotkeyText;
}

void Engine::setOnTranscription(std::function<void(const std::string&)> onTranscription)
{
    impl_->onTranscription = std::move(onTranscription);
}

void Engine::start()
{
    const Hotkey hotkey = parseHotkey(impl_->hotkeyText);
    reportConflicts(hotkey);
    impl_->armedInToggleMode = impl_->toggleMode;
    impl_->awaited = Impl::Awaited::Nothing;
    Impl* const impl = impl_.get();
    if (impl->toggleMode)
        HotkeyManager::startToggle(hotkey, [impl] { impl->togglePress(); });
    else
        HotkeyManager::start(
            hotkey, [impl] { impl->pushPress(); }, [impl] { impl->pushRelease(); });
}

void Engine::restartHotkey()
{
    HotkeyManager::stop();
    if (!impl_->armedInToggleMode)
        impl_->endPressBeforeItsStart(); // its release will not be seen any more
    start();
}

void Engine::finishRecording()
{
    impl_->awaited = Impl::Awaited::Delivery;
    impl_->finishAll();
    impl_->awaited = Impl::Awaited::Nothing;
}

void Engine::stop()
{
    // The hotkey goes last: as long as the user holds it, its keys stay out of the window that gets the text.
    impl_->awaited = Impl::Awaited::End;
    impl_->presses.end();
    impl_->watchdogThread = {};
    impl_->finishAll();
    HotkeyManager::stop();
    QCoreApplication::removePostedEvents(&impl_->ui);
    impl_->display.clear();
    impl_->levelTimer.stop();
}

} // namespace quillo

#include "engine/engine_impl.h"

#include "audio/audio_capture.h"
#include "audio/level.h"
#include "base/log.h"
#include "engine/cloud_attempt.h"
#include "hotkey/hotkey_manager.h"
#include "output/text_injector.h"
#include "platform/memory.h"
#include "transcribe/cloud_transcriber.h"
#include "transcribe/whisper_transcriber.h"
#include "ui/overlay/overlay_controller.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <new>
#include <utility>

namespace quillo {

namespace {

using namespace std::chrono_literals;

constexpr int samplesPerSecond = 16000;
constexpr int longestReservationSeconds = 3600; // bounds the address space taken for a very long limit
constexpr auto watchdogPeriod = 500ms;
constexpr auto holdCheckPeriod = 100ms; // how late a paste notices that the limit has closed the held recording
constexpr auto releasePatience = 1s;
constexpr auto levelPeriod = 32ms; // one block of samples
constexpr auto cloudPatience = 30s; // for the first answer, whatever it is

// Without surrounding blanks; text made only of blanks stays as it is.
std::string trimmed(const std::string& text)
{
    constexpr auto blanks = " \t\n\r";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string::npos)
        return text;
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

} // namespace

// To the user-interface thread.
template<typename Action> void Engine::Impl::post(Action action)
{
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(action), Qt::QueuedConnection);
}

// In the order of the calls: at once on the user-interface thread, posted from any other.
template<typename Action> void Engine::Impl::onOverlay(Action action)
{
    if (!overlay)
        return;
    if (QThread::currentThread() == QCoreApplication::instance()->thread()) {
        action(*overlay);
    } else {
        post([self = shared_from_this(), action = std::move(action)] {
            if (self->overlay && !self->stopped)
                action(*self->overlay);
        });
    }
}

// What becomes of a closed recording is not shown over a newer one that is open.
template<typename Action> void Engine::Impl::onOverlayUnlessRecording(Action action)
{
    onOverlay([this, action](OverlayController& shown) {
        if (!recording)
            action(shown);
    });
}

void Engine::Impl::pushPress()
{
    postStart();
}

void Engine::Impl::pushRelease()
{
    requestStop();
}

void Engine::Impl::togglePress()
{
    // A start that is posted but has not run yet counts as a recording: this press ends it.
    if (lastPress > pressesOver)
        requestStop();
    else
        postStart();
}

void Engine::Impl::postStart()
{
    post([self = shared_from_this(), press = ++lastPress] { self->startRecording(press); });
}

void Engine::Impl::showProgress(OverlayState state, const char* text)
{
    onOverlayUnlessRecording([=](OverlayController& shown) {
        shown.setState(state);
        shown.setText(text);
    });
}

// The audio thread only leaves the level of its latest block behind: posting each would allocate there, and pile up
// when this thread is busy.
void Engine::Impl::followLevel()
{
    if (!overlay)
        return;
    latestLevel = 0;
    if (!levelTimer) {
        levelTimer = std::make_unique<QTimer>();
        QObject::connect(levelTimer.get(), &QTimer::timeout, levelTimer.get(), [this] {
            if (recording && overlay)
                overlay->setLevel(latestLevel);
            else
                levelTimer->stop();
        });
    }
    levelTimer->start(levelPeriod);
}

void Engine::Impl::requestStop()
{
    const std::uint64_t press = lastPress;
    endPresses(press);
    startStopThread(press);
}

void Engine::Impl::startStopThread(std::uint64_t upToPress)
{
    std::thread([self = shared_from_this(), upToPress] { self->stopRecording(upToPress); }).detach();
}

void Engine::Impl::endPresses(std::uint64_t upTo)
{
    auto over = pressesOver.load();
    while (over < upTo && !pressesOver.compare_exchange_weak(over, upTo)) { }
}

void Engine::Impl::cancelPendingStart()
{
    const std::lock_guard lock(captureMutex);
    if (!recording || recordingPress != lastPress)
        endPresses(lastPress);
}

void Engine::Impl::startRecording(std::uint64_t press)
{
    const std::lock_guard lock(captureMutex);
    if (press <= pressesOver || stopped)
        return;
    // The stop of the recording before may have been asked for but not have got here yet.
    closeRecording(pressesOver);
    if (!recording)
        openRecording(press);
}

void Engine::Impl::openRecording(std::uint64_t press)
{
    logMessage("[Quillo] Starting recording...\n");
    onOverlay([](OverlayController& shown) {
        shown.placeAt(0.5F, 0.1F);
        shown.show();
        shown.setState(OverlayState::Listening);
        shown.setText("Listening...");
    });
    prepareSamples();
    recordingPress = press;
    recording = true;
    followLevel();
    if (audioCapture) {
        // Without a microphone the recording stays open and hears nothing. Nobody listens to speech segments.
        audioCapture->startCapture([this](const float* block, std::size_t count) { consumeSamples(block, count); }, {});
    }
    joinWatchdog();
    watchdogActive = true;
    watchdogThread = std::thread(&Impl::watchdogLoop, this, press);
}

// Room for all of the recording, and for the watchdog being late, so that the audio thread need not allocate.
void Engine::Impl::prepareSamples()
{
    const auto seconds = std::min<int>(maxDurationSeconds, longestReservationSeconds) + 2;
    const std::lock_guard lock(samplesMutex);
    samples.clear();
    try {
        samples.reserve(static_cast<std::size_t>(seconds) * samplesPerSecond);
    } catch (const std::bad_alloc&) {
        // Then it grows as it goes.
    }
}

void Engine::Impl::consumeSamples(const float* block, std::size_t count)
{
    {
        const std::lock_guard lock(samplesMutex);
        if (!recording)
            return;
        samples.insert(samples.end(), block, block + count);
    }
    if (overlay)
        latestLevel = blockLevel(block, count);
}

void Engine::Impl::watchdogLoop(std::uint64_t press)
{
    const auto opened = std::chrono::steady_clock::now();
    std::unique_lock lock(watchdogMutex);
    while (!watchdogWake.wait_for(lock, watchdogPeriod, [this] { return !watchdogActive; })) {
        const auto elapsed = std::chrono::floor<std::chrono::seconds>(std::chrono::steady_clock::now() - opened);
        if (elapsed.count() >= maxDurationSeconds) {
            startStopThread(press);
            return;
        }
    }
}

void Engine::Impl::endWatchdog()
{
    {
        const std::lock_guard lock(watchdogMutex);
        watchdogActive = false;
    }
    watchdogWake.notify_all();
}

void Engine::Impl::joinWatchdog()
{
    endWatchdog();
    if (watchdogThread.joinable())
        watchdogThread.join();
}

void Engine::Impl::stopRecording(std::uint64_t upToPress)
{
    const std::lock_guard lock(captureMutex);
    closeRecording(upToPress);
}

// Takes the samples at once and lets them be recognised while the stream is still being closed, which takes as long as
// a block; it accepts nothing any more. When this is done, the microphone is free for the next recording.
void Engine::Impl::closeRecording(std::uint64_t upToPress)
{
    if (recordingPress > upToPress)
        return;
    std::vector<float> recorded;
    {
        // Together, so that every block belongs either to this recording or to none.
        const std::lock_guard lock(samplesMutex);
        if (!recording.exchange(false))
            return;
        recorded.swap(samples);
    }
    endPresses(recordingPress);
    endWatchdog();
    std::thread([self = shared_from_this(), recorded = std::move(recorded), turn = stopsBegun]() mutable {
        self->finishInTurn(std::move(recorded), turn);
    }).detach();
    ++stopsBegun; // not before the thread exists: its turn would never end
    if (audioCapture)
        audioCapture->stopCapture();
}

void Engine::Impl::finishInTurn(std::vector<float> recorded, std::uint64_t turn)
{
    std::unique_lock lock(stopMutex);
    stopTurn.wait(lock, [&] { return stopsDone == turn; });
    finish(recorded);
    recorded = {};
    // Each recognition is on a thread of its own, for which the allocator may keep a stock as large as the recogniser.
    platform::returnFreedMemory();
    ++stopsDone;
    stopTurn.notify_all();
}

void Engine::Impl::waitForStopSequences()
{
    const std::uint64_t begun = [this] {
        const std::lock_guard lock(captureMutex);
        return stopsBegun;
    }();
    std::unique_lock lock(stopMutex);
    stopTurn.wait(lock, [&] { return stopsDone == begun; });
}

void Engine::Impl::finish(const std::vector<float>& recorded)
{
    logMessage("[Quillo] Stopping recording...\n");
    showProgress(OverlayState::Processing, "Processing...");
    logMessage("[Quillo] Captured %zu samples (%.1f seconds)\n", recorded.size(),
        static_cast<double>(static_cast<float>(recorded.size()) / static_cast<float>(samplesPerSecond)));
    if (recorded.empty()) {
        showProgress(OverlayState::Error, "No audio captured");
        return;
    }
    const std::string text = recognise(recorded);
    if (text.empty())
        showProgress(OverlayState::Error, "Could not transcribe");
    else
        deliver(trimmed(text));
}

std::string Engine::Impl::recognise(const std::vector<float>& recorded)
{
    std::unique_lock lock(sourceMutex);
    const std::string source = transcriptionSource;
    lock.unlock();

    std::string text;
    if (source == "openai" || source == "mistral")
        tryCloud(recorded, source, text) || tryLocal(recorded, text);
    else
        tryLocal(recorded, text) || tryCloud(recorded, source, text);
    return text;
}

bool Engine::Impl::tryLocal(const std::vector<float>& recorded, std::string& text)
{
    if (!localTranscriber || !localTranscriber->isLoaded())
        return false;
    logMessage("[Quillo] Trying local transcription...\n");
    localTranscriber->addSamples(recorded.data(), recorded.size());
    text = localTranscriber->transcribe();
    return !text.empty();
}

bool Engine::Impl::tryCloud(const std::vector<float>& recorded, const std::string& source, std::string& text)
{
    if (!cloudTranscriber)
        return false;
    logMessage("[Quillo] Trying cloud transcription (%s)...\n", source.c_str());
    const auto attempt = std::make_shared<CloudAttempt>();
    cloudTranscriber->transcribeAsync(
        std::string(reinterpret_cast<const char*>(recorded.data()), recorded.size() * sizeof(float)),
        [attempt](
            const std::string& reply, const std::string& /*provider*/, bool ok) { attempt->complete(reply, ok); });
    text = attempt->waitFor(cloudPatience);
    return !text.empty();
}

void Engine::Impl::deliver(const std::string& text)
{
    // While the user holds the hotkey for the next recording, the keys of the shortcut would mix with it: the paste
    // would fail, and its key-up would end that recording.
    while (lastPress > pressesOver && !HotkeyManager::waitForRelease(holdCheckPeriod)) { }
    HotkeyManager::waitForRelease(releasePatience); // a key held beyond the limit of its recording
    TextInjector::paste(text);
    if (onTranscription)
        onTranscription(text);
    onOverlayUnlessRecording([](OverlayController& shown) { shown.showPasted(); });
}

} // namespace quillo

#include "engine/engine_impl.h"

#include "audio/audio_capture.h"
#include "audio/level.h"
#include "base/log.h"
#include "base/sample_format.h"
#include "hotkey/hotkey_manager.h"
#include "output/text_injector.h"
#include "platform/memory.h"
#include "transcribe/cloud_transcriber.h"
#include "transcribe/whisper_transcriber.h"

#include <QCoreApplication>
#include <QMetaObject>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <future>
#include <memory>
#include <new>
#include <system_error>
#include <utility>

namespace quillo {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int longestReservationSeconds = 3600; // bounds the address space taken for a very long limit
constexpr auto watchdogPeriod = 500ms;
constexpr auto releaseCheck = 100ms; // how late a waiting text notices that the limit has closed the held recording
constexpr auto lastMoment = 1s; // what a text waits for the key when the user interface waits for the text
constexpr auto cloudPatience = 30s; // for the first answer, whatever it is

// What a request to the services shares with their answers, which may come when nobody waits any more.
struct CloudAttempt {
    std::promise<std::string> text; // of the first answer; empty when that was a failure
    std::atomic_flag answered;
};

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

Engine::Impl::Impl(std::chrono::milliseconds longest)
    : longestHold(longest)
{
    levelTimer.setInterval(blockLength);
    QObject::connect(&levelTimer, &QTimer::timeout, &levelTimer, [this] { showLevel(); });
}

// To the user-interface thread.
template<typename Action> void Engine::Impl::post(Action action)
{
    QMetaObject::invokeMethod(&ui, std::move(action), Qt::QueuedConnection);
}

void Engine::Impl::pushPress()
{
    if (awaited != Awaited::End)
        post([this, press = presses.begin()] { startRecording(press); });
}

void Engine::Impl::pushRelease()
{
    presses.end();
    stopRecording();
}

void Engine::Impl::togglePress()
{
    // A start that is posted but has not run yet counts as a recording: this press ends it.
    if (presses.isOpen())
        pushRelease();
    else
        pushPress();
}

void Engine::Impl::endPressBeforeItsStart()
{
    const std::lock_guard lock(captureMutex);
    if (!recording)
        presses.end();
}

void Engine::Impl::startRecording(std::uint64_t press)
{
    if (!openRecording(press))
        return;
    // From now on it may be closed at any moment; the keyboard does not wait while the overlay appears.
    logMessage("[Quillo] Starting recording...\n");
    display.showOpened();
    prepareSamples();
    {
        const std::lock_guard lock(captureMutex);
        if (audioCapture && recording) {
            // Without a microphone the recording hears nothing. Nobody listens to speech segments.
            audioCapture->startCapture(
                [this](const float* block, std::size_t count) { consumeSamples(block, count); }, {});
        }
    }
    levelTimer.start();
    try {
        watchdogThread = std::jthread([this, press](const std::stop_token& ended) { watchdogLoop(ended, press); });
    } catch (const std::system_error& failure) { // no thread to be had: nothing would end it
        logError("[Quillo] ERROR: Recording ended: %s\n", failure.what());
        stopRecording();
    }
}

// Room for all of the recording, and for the watchdog being late, so that the audio thread need not allocate.
void Engine::Impl::prepareSamples()
{
    const auto seconds = std::min<int>(maxDurationSeconds, longestReservationSeconds) + 2;
    const std::lock_guard lock(samplesMutex);
    try {
        samples.reserve(static_cast<std::size_t>(seconds) * samplesPerSecond);
    } catch (const std::bad_alloc&) {
        // Then it grows as it goes.
    }
}

// False when the press is over, or another one's recording is still open.
bool Engine::Impl::openRecording(std::uint64_t press)
{
    const std::lock_guard lock(captureMutex);
    if (recording || presses.isOver(press))
        return false;
    latestLevel = 0;
    recordingPress = press;
    recording = true;
    return true;
}

void Engine::Impl::consumeSamples(const float* block, std::size_t count)
{
    {
        const std::lock_guard lock(samplesMutex);
        if (!recording)
            return;
        samples.insert(samples.end(), block, block + count);
    }
    latestLevel = blockLevel(block, count);
}

// The audio thread only leaves the level of its latest block behind: posting each would allocate there, and pile up
// when this thread is busy.
void Engine::Impl::showLevel()
{
    if (recording)
        display.showLevel(latestLevel);
    else
        levelTimer.stop();
}

bool Engine::Impl::isOpen(std::uint64_t press)
{
    const std::lock_guard lock(captureMutex);
    return recording && recordingPress == press;
}

void Engine::Impl::watchdogLoop(const std::stop_token& ended, std::uint64_t press)
{
    const auto opened = Clock::now();
    std::mutex mutex; // nobody else's: only the end of the thread interrupts the wait
    std::condition_variable_any wake;
    std::unique_lock lock(mutex);
    while (isOpen(press) && !wake.wait_for(lock, ended, watchdogPeriod, [&] { return ended.stop_requested(); })) {
        if (Clock::now() - opened < std::chrono::seconds(maxDurationSeconds))
            continue;
        const std::lock_guard captureLock(captureMutex);
        if (recordingPress == press)
            closeRecording();
    }
}

void Engine::Impl::stopRecording()
{
    const std::lock_guard lock(captureMutex);
    closeRecording();
}

void Engine::Impl::closeRecording()
{
    const auto recorded = std::make_shared<std::vector<float>>();
    {
        // Together, so that every block belongs either to this recording or to none.
        const std::lock_guard lock(samplesMutex);
        if (!recording.exchange(false))
            return;
        recorded->swap(samples);
    }
    presses.end(recordingPress);
    post([this] { display.showClosed(); });
    recognition.post([this, recorded] {
        const Outcome outcome = finish(*recorded);
        post([this, outcome] { display.showEnd(outcome); });
        *recorded = {};
        platform::returnFreedMemory(); // else a stock as large as the recogniser may be kept
    });
    if (audioCapture)
        audioCapture->stopCapture();
}

void Engine::Impl::finishAll()
{
    stopRecording();
    if (!recognition.isBusy())
        return;
    QCoreApplication::sendPostedEvents(&ui); // or the overlay would show what was before
    display.paint();
    recognition.post([] {}).wait();
}

Engine::Impl::Outcome Engine::Impl::finish(const std::vector<float>& recorded)
{
    logMessage("[Quillo] Stopping recording...\n");
    logMessage("[Quillo] Captured %zu samples (%.1f seconds)\n", recorded.size(), secondsOf(recorded.size()));
    if (recorded.empty())
        return Outcome::NoAudio;
    try {
        std::string text;
        const Outcome outcome = recognise(recorded, text);
        if (!text.empty())
            deliver(trimmed(text));
        return outcome;
    } catch (const std::exception& failure) { // no memory, no thread
        logError("[Quillo] ERROR: Dictation failed: %s\n", failure.what());
        return Outcome::NotTranscribed;
    }
}

Engine::Impl::Outcome Engine::Impl::recognise(const std::vector<float>& recorded, std::string& text)
{
    std::unique_lock lock(sourceMutex);
    const std::string source = transcriptionSource;
    lock.unlock();

    const bool cloudFirst = source == "openai" || source == "mistral";
    bool heardLocally = !cloudFirst && tryLocal(recorded, text);
    const bool superseded = text.empty() && !tryCloud(recorded, source, text);
    if (cloudFirst && text.empty())
        heardLocally = tryLocal(recorded, text);
    if (!text.empty())
        return Outcome::Pasted;
    return heardLocally && superseded ? Outcome::Superseded : Outcome::NotTranscribed;
}

// False when there is no model.
bool Engine::Impl::tryLocal(const std::vector<float>& recorded, std::string& text)
{
    if (!localTranscriber || !localTranscriber->isLoaded())
        return false;
    logMessage("[Quillo] Trying local transcription...\n");
    localTranscriber->addSamples(recorded.data(), recorded.size());
    text = localTranscriber->transcribe();
    return true;
}

// False when the wait for an answer gave way to a newer recording, or to the end.
bool Engine::Impl::tryCloud(const std::vector<float>& recorded, const std::string& source, std::string& text)
{
    if (!cloudTranscriber)
        return true;
    logMessage("[Quillo] Trying cloud transcription (%s)...\n", source.c_str());
    const auto attempt = std::make_shared<CloudAttempt>();
    auto answer = attempt->text.get_future();
    const bool asked = cloudTranscriber->transcribeAsync(
        std::string(reinterpret_cast<const char*>(recorded.data()), recorded.size() * sizeof(float)),
        [attempt](const std::string& reply, const std::string& /*provider*/, bool ok) {
            if (!attempt->answered.test_and_set())
                attempt->text.set_value(ok ? reply : "");
        });
    if (!asked) // Nobody will answer: the wait is there for the user to see, unless there is something better to do.
        return !recognition.waitForMore(cloudPatience);
    if (answer.wait_for(cloudPatience) == std::future_status::ready)
        text = answer.get();
    return true;
}

void Engine::Impl::deliver(const std::string& text)
{
    // First: whatever becomes of the paste, the text is not lost.
    if (onTranscription)
        onTranscription(text);
    // While the user holds the hotkey, the keys of the shortcut would mix with it: the paste would fail, and its key-up
    // would end the recording that the hotkey holds open.
    bool isLastChance = false;
    const auto mayBeSent = [&] { return isLastChance || HotkeyManager::waitForRelease(0ms); };
    auto deadline = Clock::now() + longestHold;
    const auto waitOn = [&] {
        if (awaited != Awaited::Nothing) {
            const bool released = HotkeyManager::waitForRelease(lastMoment);
            isLastChance = awaited == Awaited::End;
            return released || isLastChance;
        }
        if (HotkeyManager::waitForRelease(releaseCheck))
            return true;
        if (!presses.isOpen())
            return Clock::now() < deadline;
        deadline = Clock::now() + longestHold;
        return true;
    };
    TextInjector::paste(text, mayBeSent, waitOn);
}

} // namespace quillo

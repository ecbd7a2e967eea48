#pragma once

#include "base/serial_worker.h"
#include "engine/dictation_display.h"
#include "engine/engine.h"
#include "engine/hotkey_presses.h"

#include <QObject>
#include <QTimer>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <stop_token>
#include <thread>
#include <vector>

namespace quillo {

/// The engine's state, and the dictation cycle itself: open a recording, gather samples, close it, recognise, deliver.
struct Engine::Impl {
    AudioCapture* audioCapture = nullptr;
    WhisperTranscriber* localTranscriber = nullptr;
    CloudTranscriber* cloudTranscriber = nullptr;
    std::atomic<bool> recording{false}; ///< a recording is open: samples are accepted
    bool toggleMode = false;
    bool armedInToggleMode = false; ///< the hotkey that is in force
    static constexpr std::int32_t defaultMaxDurationSeconds = 300;
    std::atomic<std::int32_t> maxDurationSeconds{defaultMaxDurationSeconds};
    std::string transcriptionSource{"local"};
    std::mutex sourceMutex; ///< guards transcriptionSource
    std::string hotkeyText{"Ctrl+Shift+Space"};
    std::function<void(const std::string&)> onTranscription;

    std::vector<float> samples; ///< of the open recording
    std::mutex samplesMutex; ///< guards samples; held by the audio thread, so never for long

    std::mutex
        captureMutex; ///< guards what follows and changes of `recording`; the keyboard waits for it: a moment only
    std::uint64_t recordingPress = 0; ///< the hotkey press that opened the last recording

    HotkeyPresses presses;
    std::jthread watchdogThread; ///< of the last recording; user-interface thread

    QObject ui; ///< where posted calls arrive; lives on the user-interface thread
    DictationDisplay display; ///< user-interface thread
    std::atomic<int> latestLevel{0}; ///< of the open recording, 0 to 100
    QTimer levelTimer; ///< shows the level; user-interface thread

    /// What the user-interface thread waits for.
    enum class Awaited {
        Nothing,
        Delivery, ///< of all recordings
        End, ///< the same, and no recording is opened any more
    };
    std::atomic<Awaited> awaited{Awaited::Nothing};
    const std::chrono::milliseconds longestHold; ///< of a key that holds no recording open: a text waits no longer

    SerialWorker recognition; ///< takes the recordings through recognition and delivery, in the order of their closing

    explicit Impl(std::chrono::milliseconds longest);

    // Hotkey actions, on the hook thread. The whole keyboard waits for them.
    void pushPress();
    void pushRelease();
    void togglePress();

    void startRecording(std::uint64_t press); ///< user-interface thread
    void consumeSamples(const float* block, std::size_t count); ///< audio thread

    /// Closes the open recording, if there is one; it is then recognised and delivered. Any thread; waits for nothing.
    void stopRecording();

    void endPressBeforeItsStart(); ///< user-interface thread, while no hook runs
    void finishAll(); ///< user-interface thread: closes the open recording and waits until all is delivered

private:
    using Outcome = DictationDisplay::Outcome;

    template<typename Action> void post(Action action);
    void showLevel();
    bool openRecording(std::uint64_t press);
    void prepareSamples();
    void closeRecording(); ///< with captureMutex held
    bool isOpen(std::uint64_t press);
    void watchdogLoop(const std::stop_token& ended, std::uint64_t press);

    // On the recognition's thread.
    Outcome finish(const std::vector<float>& recorded);
    Outcome recognise(const std::vector<float>& recorded, std::string& text);
    bool tryLocal(const std::vector<float>& recorded, std::string& text);
    bool tryCloud(const std::vector<float>& recorded, const std::string& source, std::string& text);
    void deliver(const std::string& text);
};

} // namespace quillo

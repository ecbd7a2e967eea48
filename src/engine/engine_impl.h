#pragma once

#include "engine/engine.h"
#include "ui/overlay/overlay_state.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <mutex>
#include <thread>
#include <vector>

class QTimer;

namespace quillo {

/// The engine's state, and the dictation cycle itself: open a recording, gather samples, close it, recognise, deliver.
struct Engine::Impl : std::enable_shared_from_this<Impl> {
    AudioCapture* audioCapture = nullptr;
    WhisperTranscriber* localTranscriber = nullptr;
    CloudTranscriber* cloudTranscriber = nullptr;
    OverlayController* overlay = nullptr; ///< called on the user-interface thread only
    std::atomic<bool> recording{false}; ///< a recording is open: samples are accepted
    bool toggleMode = false;
    std::atomic<std::int32_t> maxDurationSeconds{300};
    std::string transcriptionSource{"local"};
    std::mutex sourceMutex; ///< guards transcriptionSource
    std::string hotkeyText{"Ctrl+Shift+Space"};
    std::function<void(const std::string&)> onTranscription;

    std::vector<float> samples; ///< of the open recording, mono, 16,000 per second
    std::mutex samplesMutex; ///< guards samples; held by the audio thread, so never for long

    /// Held while a recording is opened or closed, so that the capture is started and stopped by one thread at a time.
    /// Guards recordingPress, stopsBegun and changes of `recording`.
    std::mutex captureMutex;
    std::uint64_t recordingPress = 0; ///< number of the hotkey press that opened the last recording
    std::uint64_t stopsBegun = 0; ///< recordings closed so far

    std::atomic<int> latestLevel{0}; ///< of the open recording, 0 to 100
    std::unique_ptr<QTimer> levelTimer; ///< shows the level; user-interface thread only
    bool stopped = false; ///< what is still posted comes too late; user-interface thread only

    std::mutex stopMutex; ///< held by the one stop sequence that runs; guards stopsDone
    std::condition_variable stopTurn;
    std::uint64_t stopsDone = 0; ///< stop sequences finished; they run in the order in which recordings were closed

    std::thread watchdogThread; ///< user-interface thread only; joined before the next one starts
    std::mutex watchdogMutex;
    std::condition_variable watchdogWake;
    std::atomic<bool> watchdogActive{false}; ///< cleared under watchdogMutex

    /// Presses of the hotkey are numbered from 1. A press is over when it has been released, taken back by a second
    /// press in toggle mode, or its recording has been closed; those up to pressesOver are. A press that is over opens
    /// no recording any more, and a late stop never closes the recording of a later press.
    std::atomic<std::uint64_t> lastPress{0};
    std::atomic<std::uint64_t> pressesOver{0};

    // Hotkey actions, on the hook thread: they only post work or start threads.
    void pushPress();
    void pushRelease();
    void togglePress();

    void startRecording(std::uint64_t press); ///< user-interface thread
    void consumeSamples(const float* block, std::size_t count); ///< audio thread

    /// Closes the open recording, if it belongs to a press up to the given one; a thread carries it through
    /// recognition to delivery. Any thread; returns when the microphone is free.
    void stopRecording(std::uint64_t upToPress = std::numeric_limits<std::uint64_t>::max());

    void cancelPendingStart(); ///< user-interface thread, while no hook runs
    void waitForStopSequences();
    void joinWatchdog(); ///< user-interface thread

private:
    template<typename Action> void post(Action action);
    template<typename Action> void onOverlay(Action action);
    template<typename Action> void onOverlayUnlessRecording(Action action);
    void showProgress(OverlayState state, const char* text);
    void followLevel();
    void postStart();
    void requestStop();
    void startStopThread(std::uint64_t upToPress);
    void endPresses(std::uint64_t upTo);
    void openRecording(std::uint64_t press);
    void prepareSamples();
    void closeRecording(std::uint64_t upToPress); ///< with captureMutex held
    void endWatchdog();
    void watchdogLoop(std::uint64_t press);
    void finishInTurn(std::vector<float> recorded, std::uint64_t turn);
    void finish(const std::vector<float>& recorded);
    std::string recognise(const std::vector<float>& recorded);
    bool tryLocal(const std::vector<float>& recorded, std::string& text);
    bool tryCloud(const std::vector<float>& recorded, const std::string& source, std::string& text);
    void deliver(const std::string& text);
};

} // namespace quillo

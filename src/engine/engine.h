#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace quillo {

class AudioCapture;
class CloudTranscriber;
class OverlayController;
class WhisperTranscriber;

/// Runs the dictation cycle: arms the hotkey, records while it asks for it, turns the recording into text on this
/// machine or in the cloud, delivers the text to the focused application and to a callback, and shows on the overlay
/// how it goes.
///
/// All operations are called on the user-interface thread, whose event loop must run: the hotkey's start of a recording
/// is posted to it. The collaborators are not owned and must outlive stop(); each may be null, and the steps that need
/// it are then skipped.
class Engine {
public:
    /// @param longestHold how long a text waits for a held hotkey that holds no recording open, such as a stuck one;
    ///        then it stays on the clipboard
    explicit Engine(std::chrono::milliseconds longestHold = std::chrono::minutes(1));
    ~Engine(); ///< does what stop() does
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    void setAudioCapture(AudioCapture* audioCapture);
    void setLocalTranscriber(WhisperTranscriber* transcriber);
    void setCloudTranscriber(CloudTranscriber* transcriber);
    void setOverlay(OverlayController* overlay);

    /// Whether each press of the hotkey starts or ends a recording (true), or holding it records (false, the initial
    /// value). Takes effect at the next start or restartHotkey.
    void setToggleMode(bool toggleMode);

    /// When a recording that is held open is closed by itself. 0 and less stand for 300 s, the initial value. Also
    /// affects a recording that is open.
    void setMaxDurationSeconds(int seconds);

    /// Which recognition is tried first: "openai" and "mistral" mean the cloud, anything else, such as the initial
    /// "local", this machine. The other kind is tried when the first yields no text. Read at the end of a recording.
    void setTranscriptionSource(const std::string& source);

    /// The hotkey as text, initially "Ctrl+Shift+Space". Takes effect at the next start or restartHotkey.
    void setHotkey(const std::string& hotkeyText);

    /// Receives each text, trimmed, on a worker thread, before it is pasted. To be set before start.
    void setOnTranscription(std::function<void(const std::string&)> onTranscription);

    /// Arms the hotkey. When it cannot be had, diagnostic lines say so and the program goes on without it.
    void start();

    /// Arms the hotkey anew with the present settings. A recording that is open goes on.
    void restartHotkey();

    /// Finishes an open recording, its recognition and its delivery, and waits for those under way. The hotkey stays
    /// armed; a text waits only a moment for a user who holds it, and then stays on the clipboard.
    void finishRecording();

    /// Disarms the hotkey, finishes an open recording, its recognition and its delivery, and waits for those under way.
    /// Afterwards no collaborator is touched any more. May be called more than once.
    void stop();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace quillo

#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

struct whisper_context;

namespace quillo {

/// Turns recorded English speech into text on this machine, with one whisper.cpp model that stays loaded.
///
/// Any thread, and loadModel() may run while transcribe() does: the recognition in progress keeps the model it began
/// with. Only one transcribe() may run at a time. Failures are return values; those of whisper.cpp itself are logged.
class WhisperTranscriber {
public:
    WhisperTranscriber() = default;
    WhisperTranscriber(const WhisperTranscriber&) = delete;
    WhisperTranscriber& operator=(const WhisperTranscriber&) = delete;

    /// Replaces the model by the one in a file; the path is UTF-8. The old model is given up first, so that a failed
    /// load (false) leaves none. Takes as long as reading the file does; isLoaded() and a transcribe() that comes
    /// meanwhile wait for it.
    bool loadModel(const std::string& path);

    bool isLoaded() const;

    /// Appends samples (base/sample_format.h) to those that wait for transcribe().
    void addSamples(const float* samples, std::size_t count);

    /// Takes all waiting samples and returns what was said in them, UTF-8, exactly as the model spelt it (usually with
    /// a blank in front). Empty when there is no model, there are no samples, nothing was said or whisper.cpp fails.
    /// Blocks for the length of the recognition.
    std::string transcribe();

private:
    std::mutex pendingMutex_;
    std::vector<float> pending_;
    mutable std::mutex contextMutex_; // held for as long as a model is being loaded
    std::shared_ptr<whisper_context> context_; // shared with a running recognition
};

} // namespace quillo

#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace quillo {

/// Turns recorded English speech into text on this machine, with one whisper.cpp model that stays loaded.
///
/// Any thread, and loadModel() may run while transcribe() does: the recognition in progress keeps the model it began
/// with. Only one transcribe() may run at a time. Failures are return values; those of whisper.cpp itself are logged.
///
/// whisper.cpp's back-end for graphics processors, where it is a library of its own in the folder "gpu" beside the
/// program, is loaded when it is wanted first: whatever a driver does to a process, it does from then on.
class WhisperTranscriber {
public:
    enum class Processor { Central, Graphics };

    WhisperTranscriber();
    ~WhisperTranscriber();
    WhisperTranscriber(const WhisperTranscriber&) = delete;
    WhisperTranscriber& operator=(const WhisperTranscriber&) = delete;

    /// Replaces the model by the one in a file; the path is UTF-8. The old model is given up first, so that a failed
    /// load (false) leaves none. Takes as long as reading the file does; isLoaded() and a transcribe() that comes
    /// meanwhile wait for it. A model that the graphics processor does not take, now or when it recognises, goes to the
    /// central one.
    bool loadModel(const std::string& path, Processor processor = Processor::Central);

    /// Loads the model anew on the graphics processor and warms it up, in the background, unless another one has been
    /// loaded by then.
    void moveToGraphics(const std::string& path);

    /// Has the model recognise a second of silence in the background if it is on the graphics processor, whose driver
    /// compiles what it needs when that is used first.
    void warmUp();

    bool isLoaded() const;

    /// Whether the model is on a graphics processor.
    bool usesGraphics() const;

    /// Whether something is done in the background, of whichever object. Nobody waits for that: the process must leave
    /// through std::_Exit() then, lest whisper.cpp be taken down under it.
    static bool inUse();

    /// Appends samples (base/sample_format.h) to those that wait for transcribe().
    void addSamples(const float* samples, std::size_t count);

    /// Takes all waiting samples and returns what was said in them, UTF-8, exactly as the model spelt it (usually with
    /// a blank in front). Empty when there is no model, there are no samples, nothing was said or whisper.cpp fails.
    /// Blocks for the length of the recognition.
    std::string transcribe();

private:
    struct Impl;

    void inBackground(std::function<void(Impl&)> action);

    std::shared_ptr<Impl> impl_; // shared with the threads in the background
};

} // namespace quillo

#include "transcribe/whisper_transcriber.h"

#include "base/log.h"
#include "base/sample_format.h"
#include "platform/program_folder.h"
#include "transcribe/model_file.h"

#include <whisper.h>

#include <exception>
#include <optional>
#include <string_view>
#include <utility>

namespace quillo {

namespace {

static_assert(samplesPerSecond == WHISPER_SAMPLE_RATE);

struct StateDeleter {
    void operator()(whisper_state* state) const { whisper_free_state(state); }
};
using StatePointer = std::unique_ptr<whisper_state, StateDeleter>;

/// whisper.cpp writes much to the standard error stream by itself; only what went wrong is of interest.
void forwardLog(ggml_log_level level, const char* text, void* /*unused*/)
{
    if (level != GGML_LOG_LEVEL_WARN && level != GGML_LOG_LEVEL_ERROR)
        return;
    std::string_view line = text;
    while (line.ends_with('\n'))
        line.remove_suffix(1);
    logMessage("[Quillo] whisper.cpp: %.*s\n", static_cast<int>(line.size()), line.data());
}

void listDevices()
{
    for (std::size_t i = 0; i < ggml_backend_dev_count(); ++i) {
        ggml_backend_dev_t device = ggml_backend_dev_get(i);
        logMessage(
            "[Quillo] GPU backend: %s (%s)\n", ggml_backend_dev_name(device), ggml_backend_dev_description(device));
    }
}

/// Back-ends that are libraries of their own are taken from beside the program. Where they are built in, none is there.
void loadBackends()
{
    if (const std::string folder = platform::programFolder(); !folder.empty())
        ggml_backend_load_all_from_path(folder.c_str());
}

void prepareLibrary()
{
    whisper_log_set(forwardLog, nullptr);
    loadBackends();
    listDevices();
}

/// Runs something of whisper.cpp, whose C interface lets C++ exceptions through; one counts as a failure, and the
/// result is then a default-constructed value.
template<typename Function> auto guarded(Function function) -> decltype(function())
{
    try {
        return function();
    } catch (const std::exception& exception) {
        logError("[Quillo] ERROR: whisper.cpp failed: %s\n", exception.what());
    } catch (...) {
        logError("[Quillo] ERROR: whisper.cpp failed\n");
    }
    return {};
}

std::shared_ptr<whisper_context> openModel(const std::string& path)
{
    ModelFile file(path);
    if (!file.isSound())
        return nullptr;
    if (ggml_backend_dev_count() == 0) { // whisper.cpp would abort
        logError("[Quillo] ERROR: no back-end of whisper.cpp beside the program\n");
        return nullptr;
    }
    whisper_context_params parameters = whisper_context_default_params();
    parameters.use_gpu = true;
    whisper_model_loader loader = file.loader();
    // Each recognition makes a state of its own.
    whisper_context* context = whisper_init_with_params_no_state(&loader, parameters);
    return context ? std::shared_ptr<whisper_context>(context, whisper_free) : nullptr;
}

whisper_full_params recognitionParameters()
{
    whisper_full_params parameters = whisper_full_default_params(WHISPER_SAMPLING_GREEDY);
    parameters.n_threads = 4;
    parameters.no_timestamps = true;
    parameters.print_special = false;
    parameters.print_progress = false;
    parameters.print_realtime = false;
    parameters.print_timestamps = false;
    parameters.language = "en";
    parameters.detect_language = false;
    parameters.suppress_blank = true;
    return parameters;
}

/// The text of the samples, or nothing when whisper.cpp fails, which has then been logged.
std::optional<std::string> recognise(whisper_context* context, const std::vector<float>& samples)
{
    const StatePointer state(whisper_init_state(context));
    if (!state) {
        logError("[Quillo] ERROR: Failed to create whisper state\n");
        return std::nullopt;
    }
    const int code = whisper_full_with_state(
        context, state.get(), recognitionParameters(), samples.data(), static_cast<int>(samples.size()));
    if (code != 0) {
        logError("[Quillo] ERROR: whisper_full failed with code %d\n", code);
        return std::nullopt;
    }
    std::string text;
    const int segments = whisper_full_n_segments_from_state(state.get());
    for (int i = 0; i < segments; ++i)
        if (const char* segment = whisper_full_get_segment_text_from_state(state.get(), i))
            text += segment;
    return text;
}

} // namespace

bool WhisperTranscriber::loadModel(const std::string& path)
{
    const std::lock_guard lock(contextMutex_);
    context_.reset(); // frees the old model before there is memory for the new one, unless a recognition still uses it

    static std::once_flag prepared;
    context_ = guarded([&] {
        std::call_once(prepared, prepareLibrary);
        return openModel(path);
    });
    return context_ != nullptr;
}

bool WhisperTranscriber::isLoaded() const
{
    const std::lock_guard lock(contextMutex_);
    return context_ != nullptr;
}

void WhisperTranscriber::addSamples(const float* samples, std::size_t count)
{
    const std::lock_guard lock(pendingMutex_);
    pending_.insert(pending_.end(), samples, samples + count);
}

std::string WhisperTranscriber::transcribe()
{
    std::vector<float> samples;
    {
        const std::lock_guard lock(pendingMutex_);
        samples.swap(pending_);
    }
    std::unique_lock lock(contextMutex_);
    const std::shared_ptr<whisper_context> context = context_;
    lock.unlock();
    if (!context || samples.empty())
        return {};

    if (samples.size() < samplesPerSecond)
        samples.resize(samplesPerSecond);
    logMessage("[Quillo] Transcribing %zu samples (%.1f seconds)...\n", samples.size(), secondsOf(samples.size()));

    const auto text = guarded([&] { return recognise(context.get(), samples); });
    if (!text)
        return {};
    logMessage("[Quillo] Transcription: \"%s\"\n", text->c_str());
    return *text;
}

} // namespace quillo

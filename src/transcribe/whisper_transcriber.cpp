#include "transcribe/whisper_transcriber.h"

#include "base/log.h"
#include "base/sample_format.h"
#include "platform/program_folder.h"
#include "transcribe/model_file.h"

#include <whisper.h>

#include <atomic>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace quillo {

namespace {

static_assert(samplesPerSecond == WHISPER_SAMPLE_RATE);

struct StateDeleter {
    void operator()(whisper_state* state) const { whisper_free_state(state); }
};
using StatePointer = std::unique_ptr<whisper_state, StateDeleter>;

struct ContextDeleter {
    void operator()(whisper_context* context) const { whisper_free(context); }
};
using ContextPointer = std::unique_ptr<whisper_context, ContextDeleter>;

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
void loadBackends(const char* subfolder)
{
    if (const std::string folder = platform::programFolder(); !folder.empty())
        ggml_backend_load_all_from_path((folder + subfolder).c_str());
}

std::atomic<bool> graphicsLoaded = false; // their back-end, which cannot be had out of the process again

/// The first one's devices are listed, once in the life of the process.
void prepareLibrary(WhisperTranscriber::Processor processor)
{
    static std::once_flag central;
    static std::once_flag graphics;
    static std::once_flag listed;
    std::call_once(central, [] {
        whisper_log_set(forwardLog, nullptr);
        loadBackends("");
    });
    if (processor == WhisperTranscriber::Processor::Graphics)
        std::call_once(graphics, [] {
            graphicsLoaded = true;
            loadBackends("/gpu");
        });
    std::call_once(listed, listDevices);
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

/// The graphics processor that whisper.cpp takes, which is the first one; null when there is none.
ggml_backend_dev_t graphicsDevice()
{
    for (std::size_t i = 0; i < ggml_backend_dev_count(); ++i) {
        const ggml_backend_dev_t device = ggml_backend_dev_get(i);
        const auto type = ggml_backend_dev_type(device);
        if (type == GGML_BACKEND_DEVICE_TYPE_GPU || type == GGML_BACKEND_DEVICE_TYPE_IGPU)
            return device;
    }
    return nullptr;
}

/// A loaded model.
struct Model {
    ContextPointer context;
    std::string path; ///< of its file
    bool onGraphics;
};

const char* nameOfProcessor(const Model& model)
{
    return model.onGraphics ? ggml_backend_dev_name(graphicsDevice()) : "CPU";
}

std::shared_ptr<Model> openModel(const std::string& path, bool useGpu)
{
    ModelFile file(path);
    if (!file.isSound())
        return nullptr;
    if (ggml_backend_dev_count() == 0) { // whisper.cpp would abort
        logError("[Quillo] ERROR: no back-end of whisper.cpp beside the program\n");
        return nullptr;
    }
    whisper_context_params parameters = whisper_context_default_params();
    parameters.use_gpu = useGpu;
    whisper_model_loader loader = file.loader();
    // Each recognition makes a state of its own.
    ContextPointer context(whisper_init_with_params_no_state(&loader, parameters));
    if (!context)
        return nullptr;
    return std::make_shared<Model>(Model{std::move(context), path, useGpu && graphicsDevice()});
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
std::optional<std::string> recognise(const Model& model, const std::vector<float>& samples)
{
    whisper_context* const context = model.context.get();
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

std::atomic<int> threadsInTheBackground = 0;

/// Counts one of them for as long as it lives.
struct BackgroundMark {
    BackgroundMark() { ++threadsInTheBackground; }
    ~BackgroundMark() { --threadsInTheBackground; }
    BackgroundMark(const BackgroundMark&) = delete;
    BackgroundMark& operator=(const BackgroundMark&) = delete;
};

} // namespace

/// What threads in the background share with the object.
struct WhisperTranscriber::Impl {
    std::mutex pendingMutex;
    std::vector<float> pending;

    std::mutex modelMutex; // held for as long as a model is being loaded
    std::shared_ptr<Model> model; // shared with a running recognition

    std::mutex recognitionMutex; // held by the one that runs

    std::shared_ptr<Model> current();
    void replace(const std::string& path, Processor processor); ///< with modelMutex held
    std::optional<std::string> recognise(const std::vector<float>& samples);
    void warmUp();
};

std::shared_ptr<Model> WhisperTranscriber::Impl::current()
{
    const std::lock_guard lock(modelMutex);
    return model;
}

void WhisperTranscriber::Impl::replace(const std::string& path, Processor processor)
{
    model.reset(); // frees the old model before there is memory for the new one, unless a recognition still uses it
    bool useGpu = true;
    model = guarded([&] {
        prepareLibrary(processor);
        // A back-end that is built in is used as it is, a loaded one by those models only that were meant for it.
        useGpu = processor == Processor::Graphics || !graphicsLoaded;
        return openModel(path, useGpu);
    });
    if (model || !useGpu || !graphicsDevice())
        return;
    logMessage("[Quillo] The graphics processor does not take the model: on to the central one\n");
    model = guarded([&] { return openModel(path, false); });
}

std::optional<std::string> WhisperTranscriber::Impl::recognise(const std::vector<float>& samples)
{
    const std::lock_guard lock(recognitionMutex);
    std::shared_ptr<Model> used = current();
    if (!used)
        return std::nullopt;
    const auto attempt = [&] {
        logMessage("[Quillo] Recognising on %s\n", nameOfProcessor(*used));
        return guarded([&] { return quillo::recognise(*used, samples); });
    };
    std::optional<std::string> text = attempt();
    if (text || !used->onGraphics)
        return text;
    logMessage("[Quillo] The graphics processor has failed: on to the central one\n");
    {
        const std::lock_guard modelLock(modelMutex);
        if (model == used)
            replace(std::string(used->path), Processor::Central);
        used = model;
    }
    return used ? attempt() : std::nullopt;
}

void WhisperTranscriber::Impl::warmUp()
{
    if (const auto loaded = current(); !loaded || !loaded->onGraphics)
        return;
    logMessage("[Quillo] Warming up the graphics processor...\n");
    if (recognise(std::vector<float>(samplesPerSecond)))
        logMessage("[Quillo] Warmed up\n");
}

WhisperTranscriber::WhisperTranscriber()
    : impl_(std::make_shared<Impl>())
{
}

WhisperTranscriber::~WhisperTranscriber() = default;

bool WhisperTranscriber::loadModel(const std::string& path, Processor processor)
{
    const std::lock_guard lock(impl_->modelMutex);
    impl_->replace(path, processor);
    return impl_->model != nullptr;
}

void WhisperTranscriber::moveToGraphics(const std::string& path)
{
    inBackground([path](Impl& impl) {
        {
            const std::lock_guard lock(impl.modelMutex);
            if (!impl.model || impl.model->path != path || impl.model->onGraphics)
                return;
            impl.replace(path, Processor::Graphics);
        }
        impl.warmUp();
    });
}

void WhisperTranscriber::warmUp()
{
    inBackground(&Impl::warmUp);
}

void WhisperTranscriber::inBackground(std::function<void(Impl&)> action)
{
    try {
        std::thread([impl = impl_, action = std::move(action), mark = std::make_unique<BackgroundMark>()] {
            action(*impl);
        }).detach();
    } catch (const std::system_error&) { // no thread to be had: the model stays as it is
    }
}

bool WhisperTranscriber::inUse()
{
    return threadsInTheBackground > 0;
}

bool WhisperTranscriber::isLoaded() const
{
    return impl_->current() != nullptr;
}

bool WhisperTranscriber::usesGraphics() const
{
    const auto loaded = impl_->current();
    return loaded && loaded->onGraphics;
}

void WhisperTranscriber::addSamples(const float* samples, std::size_t count)
{
    const std::lock_guard lock(impl_->pendingMutex);
    impl_->pending.insert(impl_->pending.end(), samples, samples + count);
}

std::string WhisperTranscriber::transcribe()
{
    std::vector<float> samples;
    {
        const std::lock_guard lock(impl_->pendingMutex);
        samples.swap(impl_->pending);
    }
    if (samples.empty() || !isLoaded())
        return {};

    if (samples.size() < samplesPerSecond)
        samples.resize(samplesPerSecond);
    logMessage("[Quillo] Transcribing %zu samples (%.1f seconds)...\n", samples.size(), secondsOf(samples.size()));
    const auto text = impl_->recognise(samples);
    if (!text)
        return {};
    logMessage("[Quillo] Transcription: \"%s\"\n", text->c_str());
    return *text;
}

} // namespace quillo

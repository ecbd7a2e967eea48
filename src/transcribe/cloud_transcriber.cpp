#include "transcribe/cloud_transcriber.h"

#include "base/log.h"
#include "net/curl_handles.h"
#include "transcribe/json_field.h"
#include "transcribe/wav.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <string_view>
#include <thread>
#include <utility>

namespace quillo {

namespace {

using WavFile = std::vector<std::uint8_t>;

struct Service {
    std::string_view name;
    const char* transcriptionsUrl;
    const char* modelsUrl;
    const char* model;
};

constexpr std::array services{
    Service{
        "openai", "https://api.openai.com/v1/audio/transcriptions", "https://api.openai.com/v1/models", "whisper-1"},
    Service{"mistral", "https://api.mistral.ai/v1/audio/transcriptions", "https://api.mistral.ai/v1/models",
        "mistral-audio-latest"},
};

const Service* findService(std::string_view name)
{
    const auto* service = std::find_if(
        services.begin(), services.end(), [name](const Service& candidate) { return candidate.name == name; });
    return service == services.end() ? nullptr : service;
}

bool isEligible(const CloudProvider& provider)
{
    return provider.enabled && !provider.apiKey.empty() && findService(provider.name);
}

constexpr std::size_t longestAnswer = 4 << 20; // bytes; many hours of speech as text

struct Answer {
    CURLcode result = CURLE_OK;
    long status = 0; ///< of HTTP
    std::string body;
};

/// What may be told of it in a log: nothing that was said.
std::string outcomeOf(const Answer& answer)
{
    return answer.result == CURLE_OK ? "HTTP " + std::to_string(answer.status) : curl_easy_strerror(answer.result);
}

std::size_t appendToBody(const char* data, std::size_t size, std::size_t count, void* destination)
{
    auto& body = *static_cast<std::string*>(destination);
    if (size * count > longestAnswer - body.size())
        return 0; // fails the transfer
    body.append(data, size * count);
    return size * count;
}

/// Makes the request, a GET unless the handle has been given a form.
Answer perform(CURL* handle, const std::string& url, const std::string& apiKey, std::chrono::seconds timeout)
{
    Answer answer;
    const CurlHeaders headers(curl_slist_append(nullptr, ("Authorization: Bearer " + apiKey).c_str()));
    curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, appendToBody);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &answer.body);
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L); // signal handlers belong to the process, not to one thread of it
    curl_easy_setopt(handle, CURLOPT_TIMEOUT, static_cast<long>(timeout.count())); // for all of it
    answer.result = curl_easy_perform(handle);
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &answer.status);
    return answer;
}

/// Feeds libcurl from the WAV file that the requests share; curl_mime_data() would copy it for each of them.
class WavReader {
public:
    explicit WavReader(const WavFile& wav)
        : wav_(wav)
    {
    }

    void attachTo(curl_mimepart* part)
    {
        curl_mime_data_cb(part, static_cast<curl_off_t>(wav_.size()), read, seek, nullptr, this);
    }

private:
    static std::size_t read(char* buffer, std::size_t size, std::size_t count, void* self)
    {
        auto& reader = *static_cast<WavReader*>(self);
        const std::size_t length = std::min(size * count, reader.wav_.size() - reader.position_);
        std::memcpy(buffer, reader.wav_.data() + reader.position_, length);
        reader.position_ += length;
        return length;
    }

    /// libcurl starts again when a server wants the request repeated.
    static int seek(void* self, curl_off_t offset, int origin)
    {
        auto& reader = *static_cast<WavReader*>(self);
        if (origin != SEEK_SET || offset < 0 || static_cast<std::size_t>(offset) > reader.wav_.size())
            return CURL_SEEKFUNC_CANTSEEK;
        reader.position_ = static_cast<std::size_t>(offset);
        return CURL_SEEKFUNC_OK;
    }

    const WavFile& wav_;
    std::size_t position_ = 0;
};

CurlForm makeForm(CURL* handle, WavReader& wav, const char* model)
{
    CurlForm form(curl_mime_init(handle));
    curl_mimepart* part = curl_mime_addpart(form.get());
    curl_mime_name(part, "file");
    wav.attachTo(part);
    curl_mime_filename(part, "audio.wav");
    curl_mime_type(part, "audio/wav");

    part = curl_mime_addpart(form.get());
    curl_mime_name(part, "model");
    curl_mime_data(part, model, CURL_ZERO_TERMINATED);
    return form;
}

/// What a request thread owns. The runtime comes first, so that it goes last.
struct UploadTask {
    CurlRuntime runtime;
    CloudProvider provider;
    const Service* service = nullptr;
    std::shared_ptr<const WavFile> wav;
    CloudTranscriber::TranscriptionDone done;
    std::chrono::seconds timeout;
};

void upload(const UploadTask& task)
{
    const auto report = [&task](const std::string& outcome, const std::string& text, bool ok) {
        logMessage("[Quillo] Cloud transcription %s: %s\n", task.provider.name.c_str(), outcome.c_str());
        if (task.done)
            task.done(text, task.provider.name, ok);
    };
    const CurlHandle handle(curl_easy_init());
    if (!handle) {
        report(curl_easy_strerror(CURLE_FAILED_INIT), {}, false);
        return;
    }
    const std::string& endpoint = task.provider.endpoint;
    WavReader wav(*task.wav);
    const CurlForm form = makeForm(handle.get(), wav, task.service->model);
    curl_easy_setopt(handle.get(), CURLOPT_MIMEPOST, form.get());
    const Answer answer = perform(handle.get(), endpoint.empty() ? task.service->transcriptionsUrl : endpoint,
        task.provider.apiKey, task.timeout);

    if (answer.result != CURLE_OK) {
        report(outcomeOf(answer), curl_easy_strerror(answer.result), false);
    } else if (answer.status != 200) {
        report(outcomeOf(answer), answer.body, false);
    } else {
        const std::string text = extractJsonField(answer.body, "text");
        report(outcomeOf(answer) + (text.empty() ? " without a text" : ""), text, true);
    }
}

struct TestTask {
    CurlRuntime runtime;
    std::string provider;
    std::string apiKey;
    std::string url;
    CloudTranscriber::TestDone done;
    std::chrono::seconds timeout;
};

bool isKeyAccepted(const TestTask& task)
{
    const CurlHandle handle(curl_easy_init());
    if (!handle)
        return false;
    const Answer answer = perform(handle.get(), task.url, task.apiKey, task.timeout);
    logMessage("[Quillo] Cloud test %s: %s\n", task.provider.c_str(), outcomeOf(answer).c_str());
    return answer.result == CURLE_OK && answer.status == 200;
}

} // namespace

CloudTranscriber::CloudTranscriber(CloudTimeouts timeouts)
    : timeouts_(timeouts)
{
}

void CloudTranscriber::setProviders(const std::vector<CloudProvider>& providers)
{
    const std::lock_guard lock(mutex_);
    providers_ = providers;
}

void CloudTranscriber::initialise()
{
    const std::lock_guard lock(mutex_);
    if (std::any_of(providers_.begin(), providers_.end(), isEligible))
        takeRuntime();
}

CurlRuntime CloudTranscriber::takeRuntime()
{
    if (!runtime_)
        runtime_.emplace();
    return *runtime_;
}

bool CloudTranscriber::transcribeAsync(const std::string& audio, TranscriptionDone done)
{
    std::unique_lock lock(mutex_);
    std::vector<CloudProvider> asked;
    std::copy_if(providers_.begin(), providers_.end(), std::back_inserter(asked), isEligible);
    if (asked.empty())
        return false;
    UploadTask task{takeRuntime(), {}, nullptr, {}, std::move(done), timeouts_.transcription};
    lock.unlock();
    task.wav = std::make_shared<const WavFile>(
        encodeWav(reinterpret_cast<const float*>(audio.data()), audio.size() / sizeof(float)));
    for (CloudProvider& provider : asked) {
        task.service = findService(provider.name);
        task.provider = std::move(provider);
        std::thread([task] { upload(task); }).detach();
    }
    return true;
}

void CloudTranscriber::testConnection(const std::string& provider, const std::string& apiKey, TestDone done)
{
    const Service* service = findService(provider);
    testConnection(provider, apiKey, service ? service->modelsUrl : "", std::move(done));
}

void CloudTranscriber::testConnection(
    const std::string& provider, const std::string& apiKey, const std::string& url, TestDone done)
{
    if (apiKey.empty()) {
        if (done)
            done(false);
        return;
    }
    std::unique_lock lock(mutex_);
    TestTask task{takeRuntime(), provider, apiKey, url, std::move(done), timeouts_.connectionTest};
    lock.unlock();
    std::thread([task = std::move(task)] {
        const bool isAccepted = isKeyAccepted(task);
        if (task.done)
            task.done(isAccepted);
    }).detach();
}

} // namespace quillo

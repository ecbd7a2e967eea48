#pragma once

#include "net/curl_runtime.h"

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace quillo {

/// One cloud service as the user configured it. Texts are UTF-8.
struct CloudProvider {
    std::string name; ///< "openai" or "mistral"; selects the address and the recognition model
    std::string apiKey; ///< sent as a bearer token, and shown nowhere
    std::string endpoint; ///< full address to use instead of the service's own one; empty for that one
    bool enabled = false;
};

/// How long a whole request may take, from looking up the host to the last byte of the answer.
struct CloudTimeouts {
    std::chrono::seconds transcription{30};
    std::chrono::seconds connectionTest{10};
};

/// Has recordings transcribed by the OpenAI and Mistral services, and tests keys for them.
///
/// Every request runs on a detached thread of its own, which owns all it touches: it may outlive this object, nothing
/// waits for it (see CurlRuntime::inUse() for the end of the process), and it ends within its timeout. Any thread may
/// call. That a thread cannot be started is a std::system_error.
class CloudTranscriber {
public:
    /// Receives the recognised text and true; or what the service or libcurl said about the failure and false, the
    /// text being empty when not even a request could be made. On the request's thread.
    using TranscriptionDone = std::function<void(const std::string& text, const std::string& provider, bool ok)>;
    using TestDone = std::function<void(bool ok)>;

    explicit CloudTranscriber(CloudTimeouts timeouts = {});

    /// Initialises libcurl, if a provider may be asked. The requests do it where needed: this one is for a moment when
    /// nobody waits.
    void initialise();

    /// Replaces the providers; requests under way keep theirs.
    void setProviders(const std::vector<CloudProvider>& providers);

    /// Asks all providers at once that are enabled, have a key and are known by name, and returns: false when there is
    /// none. The audio is the bytes of samples (base/sample_format.h). For each provider asked there is one diagnostic
    /// line, and done is called once, possibly at the same time as for another one.
    bool transcribeAsync(const std::string& audio, TranscriptionDone done);

    /// Asks the provider's service whether it accepts the key, which it does with status 200, and logs its answer.
    /// done is called once: right here with false when the key is empty, else on the request's thread.
    void testConnection(const std::string& provider, const std::string& apiKey, TestDone done);

    /// The same, with the request sent to another address than the service's own.
    void testConnection(const std::string& provider, const std::string& apiKey, const std::string& url, TestDone done);

private:
    CurlRuntime takeRuntime();

    CloudTimeouts timeouts_;
    std::mutex mutex_; // guards what follows
    std::optional<CurlRuntime> runtime_; ///< from when it is first needed: libcurl is large
    std::vector<CloudProvider> providers_;
};

} // namespace quillo

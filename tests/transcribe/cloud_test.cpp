#include "transcribe/cloud_transcriber.h"

#include "base/log.h"
#include "stand_ins/eventually.h"
#include "support/stand_in_services.h"
#include "transcribe/wav.h"

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <mutex>
#include <sstream>
#include <thread>
#include <tuple>

namespace quillo {

namespace {

using test::eventually;
using test::StandInServices;
using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::Not;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;

using namespace std::chrono_literals;

constexpr const char* secret = "sk-secret-key";

/// What the callbacks said: text, provider, ok. That of a test has neither text nor provider.
using Reply = std::tuple<std::string, std::string, bool>;

std::string bytesOf(const std::vector<float>& samples)
{
    return {reinterpret_cast<const char*>(samples.data()), samples.size() * sizeof(float)};
}

std::vector<float> ramp(std::size_t count)
{
    std::vector<float> samples(count);
    for (std::size_t i = 0; i < count; ++i)
        samples[i] = static_cast<float>(i % 2000) / 1000.0F - 1.0F;
    return samples;
}

/// All requests of a test must have ended before the next one begins, and no line of any may hold the key.
class Cloud : public testing::Test {
protected:
    void SetUp() override
    {
        verboseOutput = true; // no other thread exists now
        testing::internal::CaptureStderr();
    }

    void TearDown() override
    {
        EXPECT_THAT(endRequests(), Each(Not(HasSubstr(secret))));
        testing::internal::GetCapturedStderr();
        verboseOutput = false;
    }

    /// The lines that were logged. The transcriber is gone afterwards.
    std::vector<std::string> endRequests()
    {
        transcriber_.reset();
        EXPECT_TRUE(eventually([] { return !CurlRuntime::inUse(); }));
        std::istringstream log(testing::internal::GetCapturedStderr());
        testing::internal::CaptureStderr();
        for (std::string line; std::getline(log, line);)
            lines_.push_back(line);
        return lines_;
    }

    /// All replies, as soon as there are so many of them.
    std::vector<Reply> await(std::size_t count)
    {
        std::vector<Reply> replies;
        EXPECT_TRUE(eventually([&] {
            const std::lock_guard lock(mutex_);
            replies = replies_;
            return replies.size() >= count;
        }));
        return replies;
    }

    bool transcribe(const std::vector<CloudProvider>& providers, const std::string& audio = bytesOf(ramp(100)))
    {
        transcriber_->setProviders(providers);
        return transcriber_->transcribeAsync(audio, receiver());
    }

    void testKey(const std::string& path)
    {
        transcriber_->testConnection("mistral", secret, services_.url(path), testReceiver());
    }

    CloudTranscriber::TranscriptionDone receiver()
    {
        return [this](const std::string& text, const std::string& provider, bool ok) {
            const std::lock_guard lock(mutex_);
            replies_.emplace_back(text, provider, ok);
        };
    }

    CloudTranscriber::TestDone testReceiver()
    {
        return [receive = receiver()](bool ok) { receive("", "", ok); };
    }

    StandInServices services_;
    std::unique_ptr<CloudTranscriber> transcriber_ =
        std::make_unique<CloudTranscriber>(CloudTimeouts{.transcription = 30s, .connectionTest = 30s});

private:
    std::vector<std::string> lines_;
    std::mutex mutex_;
    std::vector<Reply> replies_; // guarded by it
};

} // namespace

TEST_F(Cloud, SendsTheRecordingAndTheModelAsAForm)
{
    // Nothing at all; an ordinary length; and enough for libcurl to ask before it sends, read in many pieces.
    const struct {
        const char* provider;
        const char* model;
        std::size_t samples;
        std::size_t strayBytes;
    } cases[] = {{"openai", "whisper-1", 0, 0}, {"mistral", "mistral-audio-latest", 16000, 3},
        {"openai", "whisper-1", 900000, 0}};
    services_.answer("/upload", R"({"body": "{\"text\": \"Hello\"}"})");
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const std::vector<float> samples = ramp(cases[i].samples);
        transcribe({{cases[i].provider, secret, services_.url("/upload"), true}},
            bytesOf(samples) + std::string(cases[i].strayBytes, 'x'));
        ASSERT_EQ(await(i + 1).at(i), Reply("Hello", cases[i].provider, true));

        const StandInServices::Request request = services_.requests().at(i);
        EXPECT_EQ(request.method, "POST");
        EXPECT_EQ(request.headers.at("authorization"), std::string("Bearer ") + secret);
        ASSERT_EQ(request.parts.size(), 2U);
        const auto& [file, model] = std::tie(request.parts[0], request.parts[1]);
        EXPECT_EQ(std::tie(file.name, file.fileName, file.type), std::tuple("file", "audio.wav", "audio/wav"));
        const std::vector<std::uint8_t> wav = encodeWav(samples.data(), samples.size());
        EXPECT_TRUE(file.content == std::string(wav.begin(), wav.end()));
        EXPECT_EQ(std::tie(model.name, model.fileName, model.content), std::tuple("model", "", cases[i].model));
    }
}

TEST_F(Cloud, ReportsAndLogsEveryOutcomeOnce)
{
    struct Case {
        const char* answer;
        const char* text;
        const char* logged;
        bool ok = false;
    };
    const auto failure = [](const char* answer, CURLcode result) {
        return Case{answer, curl_easy_strerror(result), curl_easy_strerror(result)};
    };
    const std::vector<Case> cases{
        {R"({"body": "{\"text\": \" a \\\"quote\\\"\\nand a line \u00fc\"}"})", " a \"quote\"\nand a line \xC3\xBC",
            "HTTP 200", true},
        {R"({"body": "{\"language\": \"en\"}"})", "", "HTTP 200 without a text", true},
        {R"({"status": 401, "body": "{\"error\": {\"text\":\n\"wrong key\"}}"})",
            "{\"error\": {\"text\":\n\"wrong key\"}}", "HTTP 401"},
        {R"({"status": 201, "body": "{\"text\": \"not 200\"}"})", "{\"text\": \"not 200\"}", "HTTP 201"},
        {R"({"status": 302, "headers": {"Location": "/0"}})", "", "HTTP 302"},
        failure(R"({"how": "drop"})", CURLE_GOT_NOTHING),
        failure(R"({"how": "short", "body": "{\"text\": \"cut off\"}"})", CURLE_PARTIAL_FILE),
        failure(R"({"size": 5000000})", CURLE_WRITE_ERROR), // more than anybody would have said
    };
    std::vector<CloudProvider> providers;
    std::vector<Reply> expected;
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const std::string path = "/" + std::to_string(i);
        services_.answer(path, cases[i].answer);
        providers.push_back({"openai", secret, services_.url(path), true});
        expected.emplace_back(cases[i].text, "openai", cases[i].ok);
        lines.push_back(std::string("[Quillo] Cloud transcription openai: ") + cases[i].logged);
    }
    // One that nobody answers, since the port has no listener.
    providers.push_back({"mistral", secret, "http://127.0.0.1:1/", true});
    expected.emplace_back(curl_easy_strerror(CURLE_COULDNT_CONNECT), "mistral", false);
    lines.push_back("[Quillo] Cloud transcription mistral: " + std::get<0>(expected.back()));

    EXPECT_TRUE(transcribe(providers));
    await(expected.size());
    EXPECT_THAT(endRequests(), UnorderedElementsAreArray(lines));
    EXPECT_THAT(await(expected.size()), UnorderedElementsAreArray(expected));
}

TEST_F(Cloud, AsksOnlyEnabledProvidersThatItKnowsAndHasAKeyFor)
{
    services_.answer("/yes", R"({"body": "{\"text\": \"Hello\"}"})");
    const std::string no = services_.url("/no");
    std::vector<CloudProvider> providers{{"openai", "", no, true}, {"openai", secret, no, false},
        {"nobody", secret, no, true}, {"OpenAI", secret, no, true}};
    EXPECT_FALSE(transcribe(providers));
    EXPECT_FALSE(CurlRuntime::inUse());
    providers.push_back({"mistral", secret, services_.url("/yes"), true});
    EXPECT_TRUE(transcribe(providers));
    await(1);
    endRequests();
    EXPECT_THAT(await(1), UnorderedElementsAre(Reply("Hello", "mistral", true)));
    EXPECT_EQ(services_.requests().size(), 1U);
}

TEST_F(Cloud, AsksAllProvidersAtTheSameTimeAndOutlivesItsOwner)
{
    // Neither upload is answered before the other has arrived, and not before a third request, made when the
    // transcriber, the list and the recording are gone.
    const char* heldBack = R"({"body": "{\"text\": \"Hello\"}", "after": 3})";
    services_.answer("/openai", heldBack);
    services_.answer("/mistral", heldBack);
    transcribe(
        {{"openai", secret, services_.url("/openai"), true}, {"mistral", secret, services_.url("/mistral"), true}});
    ASSERT_TRUE(eventually([&] { return services_.requests().size() == 2; }));
    transcriber_.reset();
    EXPECT_TRUE(CurlRuntime::inUse());
    CloudTranscriber().testConnection("openai", secret, services_.url("/third"), {});

    await(2);
    endRequests();
    EXPECT_THAT(await(2), UnorderedElementsAre(Reply("Hello", "openai", true), Reply("Hello", "mistral", true)));
    EXPECT_EQ(services_.requests().size(), 3U);
}

TEST_F(Cloud, GivesUpWhenTheTimeIsOver)
{
    services_.answer("/stall", R"({"how": "stall"})");
    services_.answer("/midway", R"({"how": "stall-midway", "body": "{\"text\": \"Hello\"}"})");
    transcriber_ = std::make_unique<CloudTranscriber>(CloudTimeouts{.transcription = 1s, .connectionTest = 1s});
    transcribe(
        {{"openai", secret, services_.url("/stall"), true}, {"mistral", secret, services_.url("/midway"), true}});
    testKey("/stall");
    const std::string reason = curl_easy_strerror(CURLE_OPERATION_TIMEDOUT);
    EXPECT_THAT(await(3),
        UnorderedElementsAre(Reply(reason, "openai", false), Reply(reason, "mistral", false), Reply("", "", false)));
    EXPECT_THAT(endRequests(), Contains("[Quillo] Cloud test mistral: " + reason));
    EXPECT_EQ(CloudTimeouts().transcription, 30s);
    EXPECT_EQ(CloudTimeouts().connectionTest, 10s);
}

TEST_F(Cloud, TrustsNoCertificateThatNobodyVouchesFor)
{
    StandInServices impostor(StandInServices::Transport::SelfSignedTls);
    impostor.answer("/", R"({"body": "{\"text\": \"Hello\"}"})");
    transcribe({{"openai", secret, impostor.url("/"), true}});
    EXPECT_EQ(await(1).at(0), Reply(curl_easy_strerror(CURLE_PEER_FAILED_VERIFICATION), "openai", false));
    EXPECT_TRUE(impostor.requests().empty());
}

TEST_F(Cloud, TestsAKeyByTheStatusAlone)
{
    const struct {
        const char* answer;
        bool ok;
        const char* logged;
    } cases[] = {
        {R"({"body": "garbage"})", true, "HTTP 200"},
        {R"({"status": 401, "body": "{\"data\": []}"})", false, "HTTP 401"},
        {R"({"how": "drop"})", false, curl_easy_strerror(CURLE_GOT_NOTHING)},
    };
    std::vector<std::string> expected;
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        services_.answer("/test", cases[i].answer);
        testKey("/test");
        ASSERT_EQ(await(i + 1).at(i), Reply("", "", cases[i].ok)) << cases[i].answer;
        expected.push_back(std::string("[Quillo] Cloud test mistral: ") + cases[i].logged);
        const StandInServices::Request request = services_.requests().at(i);
        EXPECT_EQ(request.method, "GET");
        EXPECT_EQ(request.headers.at("authorization"), std::string("Bearer ") + secret);
    }
    transcriber_->testConnection("nobody", secret, testReceiver());
    EXPECT_EQ(await(std::size(cases) + 1).back(), Reply("", "", false));
    expected.push_back("[Quillo] Cloud test nobody: " + std::string(curl_easy_strerror(CURLE_URL_MALFORMAT)));
    EXPECT_EQ(endRequests(), expected);
}

TEST_F(Cloud, AnEmptyKeyFailsAtOnceAndWithoutARequest)
{
    std::thread::id thread;
    transcriber_->testConnection("openai", "", services_.url("/"), [&](bool ok) {
        EXPECT_FALSE(ok);
        thread = std::this_thread::get_id();
    });
    EXPECT_EQ(thread, std::this_thread::get_id());
    transcriber_->testConnection("openai", "", {});
    EXPECT_TRUE(endRequests().empty());
    EXPECT_TRUE(services_.requests().empty());
}

} // namespace quillo

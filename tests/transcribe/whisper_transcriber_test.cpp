#include "base/log.h"
#include "support/files.h"
#include "support/speech.h"
#include "support/temporary_folder.h"
#include "transcribe/whisper_transcriber.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <thread>
#include <utility>

namespace quillo {
namespace {

namespace fs = std::filesystem;
using testing::StartsWith;

const std::string miniModel = QUILLO_TEST_DATA_DIR "/ggml-mini.bin";

/// What is written to the standard error stream while the function runs, with verbose output on.
template<typename Function> std::string verboseLinesOf(Function function)
{
    verboseOutput = true;
    testing::internal::CaptureStderr();
    function();
    verboseOutput = false;
    return testing::internal::GetCapturedStderr();
}

class WhisperTranscriberTest : public testing::Test {
protected:
    void loadMiniModel() { ASSERT_TRUE(transcriber.loadModel(miniModel)); }

    void add(const std::vector<float>& samples) { transcriber.addSamples(samples.data(), samples.size()); }

    WhisperTranscriber transcriber;
    const test::TemporaryFolder folder;
    const fs::path path = folder.path() / "model.bin";
};

TEST_F(WhisperTranscriberTest, RecognisesSpeechOnceInBlocksOfAnySize)
{
    loadMiniModel();
    const auto speech = test::speak("one two three four five");
    const std::size_t half = speech.size() / 2;
    transcriber.addSamples(speech.data(), half);
    transcriber.addSamples(speech.data() + half, speech.size() - half);
    transcriber.addSamples(nullptr, 0);
    EXPECT_EQ(transcriber.transcribe(), " one two three four five");
    EXPECT_EQ(transcriber.transcribe(), "");
}

// whisper.cpp takes thirty seconds at a time.
TEST_F(WhisperTranscriberTest, JoinsTheSegmentsOfLongSpeech)
{
    loadMiniModel();
    add(test::speak("hello world"));
    add(std::vector<float>(30 * 16000));
    add(test::speak("good morning team", "en-gb"));
    EXPECT_EQ(transcriber.transcribe(), " hello world good morning team");
}

TEST_F(WhisperTranscriberTest, DiscardsSamplesWithoutAModel)
{
    add(test::speak("hello world"));
    EXPECT_FALSE(transcriber.isLoaded());
    EXPECT_EQ(transcriber.transcribe(), "");
    loadMiniModel();
    EXPECT_EQ(transcriber.transcribe(), "");
}

TEST_F(WhisperTranscriberTest, TakesAtLeastOneSecond)
{
    const std::pair<std::size_t, std::string> lengths[] = {
        {1, "16000 samples (1.0"}, {16000, "16000 samples (1.0"}, {48000, "48000 samples (3.0"}};
    loadMiniModel();
    for (const auto& [samples, reported] : lengths) {
        add(std::vector<float>(samples));
        std::string text = "unset";
        EXPECT_EQ(verboseLinesOf([&] { text = transcriber.transcribe(); }),
            "[Quillo] Transcribing " + reported
                + " seconds)...\n[Quillo] Recognising on CPU\n[Quillo] Transcription: \"\"\n");
        EXPECT_EQ(text, "");
    }
    EXPECT_EQ(verboseLinesOf([&] { transcriber.transcribe(); }), "") << "of nothing";
}

/// The mini model, and where its parts begin.
struct MiniModel {
    const std::string bytes = test::contentOf(miniModel);
    const std::size_t vocabulary =
        48 + 8 + numberAt(48) * numberAt(52) * sizeof(float); // behind parameters and filters
    const std::size_t tensors = endOfVocabulary();

    std::size_t numberAt(std::size_t offset) const
    {
        std::uint32_t value = 0;
        std::memcpy(&value, bytes.data() + offset, sizeof value);
        return value;
    }
    std::size_t endOfVocabulary() const
    {
        std::size_t offset = vocabulary + 4;
        for (std::size_t words = numberAt(vocabulary); words > 0; --words)
            offset += 4 + numberAt(offset);
        return offset;
    }
};

/// With another number in place of the one at an offset.
std::string withNumber(std::string bytes, std::size_t offset, std::int32_t number)
{
    std::memcpy(bytes.data() + offset, &number, sizeof number);
    return bytes;
}

constexpr std::pair<const char*, std::string (*)(const MiniModel&)> damages[] = {
    {"empty", [](const MiniModel&) { return std::string(); }},
    {"webPage", [](const MiniModel&) { return std::string("<!DOCTYPE html><html><body>404</body></html>\n"); }},
    {"inTheFilters", [](const MiniModel& model) { return model.bytes.substr(0, 60); }},
    {"inTheVocabulary", [](const MiniModel& model) { return model.bytes.substr(0, model.tensors - 40); }},
    {"beforeTheTensors", [](const MiniModel& model) { return model.bytes.substr(0, model.tensors); }},
    {"lastByteMissing", [](const MiniModel& model) { return model.bytes.substr(0, model.bytes.size() - 1); }},
    {"byteMissingInTheTensors", [](const MiniModel& model) { return std::string(model.bytes).erase(1'000'000, 1); }},
    {"tensorOfManyDimensions", [](const MiniModel& model) { return withNumber(model.bytes, model.tensors, 1000); }},
    {"noAttentionHeads", [](const MiniModel& model) { return withNumber(model.bytes, 16, 0); }},
    {"headsThatDoNotDivideTheState", [](const MiniModel& model) { return withNumber(model.bytes, 16, 7); }},
    {"textHeadsThatDoNotDivideTheState", [](const MiniModel& model) { return withNumber(model.bytes, 32, 7); }},
    {"unknownFormat", [](const MiniModel& model) { return withNumber(model.bytes, 44, 100); }},
    {"tooManyLayersForTheFile", [](const MiniModel& model) { return withNumber(model.bytes, 20, 50'000'000); }},
};

TEST_F(WhisperTranscriberTest, RefusesDamagedFilesInSilence)
{
    const MiniModel model;
    for (const auto& [name, damaged] : damages) {
        loadMiniModel(); // which is gone then
        test::writeFile(path, damaged(model));
        testing::internal::CaptureStderr();
        EXPECT_FALSE(transcriber.loadModel(path.string())) << name;
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "whisper.cpp must be kept quiet";
        EXPECT_FALSE(transcriber.isLoaded());
    }
}

TEST_F(WhisperTranscriberTest, ReportsAnExceptionOfWhisper)
{
    // An empty vocabulary is accepted, but the recognition looks for a word in it.
    const MiniModel model;
    test::writeFile(
        path, model.bytes.substr(0, model.vocabulary) + std::string(4, '\0') + model.bytes.substr(model.tensors));
    ASSERT_TRUE(transcriber.loadModel(path.string()));
    add(std::vector<float>(16000));
    testing::internal::CaptureStderr();
    EXPECT_EQ(transcriber.transcribe(), "");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), StartsWith("[Quillo] ERROR: whisper.cpp failed: "));
}

TEST_F(WhisperTranscriberTest, TakesPathsInUtf8)
{
    EXPECT_FALSE(transcriber.loadModel(folder.path().string()));
    fs::copy_file(miniModel, path);
    const std::u8string utf8 = path.u8string();
    EXPECT_TRUE(transcriber.loadModel(std::string(utf8.begin(), utf8.end())));
}

TEST_F(WhisperTranscriberTest, IsLoadedWaitsForALoadUnderWay)
{
    loadMiniModel();
    std::atomic<bool> done = false;
    std::thread loader([&] {
        for (int i = 0; i < 5; ++i)
            transcriber.loadModel(miniModel);
        done = true;
    });
    while (!done)
        EXPECT_TRUE(transcriber.isLoaded());
    loader.join();
}

TEST_F(WhisperTranscriberTest, ReplacesTheModelDuringARecognition)
{
    loadMiniModel();
    const auto speech = test::speak("hello world");
    std::atomic<bool> done = false;
    std::thread loader([&] {
        for (bool good = false; !done; good = !good)
            transcriber.loadModel(good ? miniModel : "missing");
    });
    for (int i = 0; i < 5; ++i) {
        add(speech);
        EXPECT_THAT(transcriber.transcribe(), testing::AnyOf("", " hello world"));
    }
    done = true;
    loader.join();
    loadMiniModel();
    add(speech);
    EXPECT_EQ(transcriber.transcribe(), " hello world");
}

} // namespace
} // namespace quillo

/// whisper.cpp leaves the memory of the tensors behind when it refuses a model file. Its own objects, which a missing
/// whisper_free() would leave behind, are still reported.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libggml-base";
}

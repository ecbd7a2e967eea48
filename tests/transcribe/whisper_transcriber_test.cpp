#include "base/log.h"
#include "support/speech.h"
#include "support/temporary_folder.h"
#include "transcribe/whisper_transcriber.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <ostream>
#include <thread>

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

TEST_F(WhisperTranscriberTest, RecognisesSpeechOnce)
{
    loadMiniModel();
    add(test::speak("the quick brown fox jumps over the lazy dog"));
    EXPECT_EQ(transcriber.transcribe(), " the quick brown fox jumps over the lazy dog");
    EXPECT_EQ(transcriber.transcribe(), "");
    add(test::speak("good morning team", "en-gb"));
    EXPECT_EQ(transcriber.transcribe(), " good morning team");
}

TEST_F(WhisperTranscriberTest, JoinsBlocksInTheOrderOfTheCalls)
{
    loadMiniModel();
    const auto speech = test::speak("one two three four five");
    const std::size_t half = speech.size() / 2;
    transcriber.addSamples(speech.data(), half);
    transcriber.addSamples(speech.data() + half, speech.size() - half);
    transcriber.addSamples(nullptr, 0);
    EXPECT_EQ(transcriber.transcribe(), " one two three four five");
}

TEST_F(WhisperTranscriberTest, DiscardsSamplesWithoutAModel)
{
    add(test::speak("hello world"));
    EXPECT_FALSE(transcriber.isLoaded());
    EXPECT_EQ(transcriber.transcribe(), "");
    loadMiniModel();
    EXPECT_EQ(transcriber.transcribe(), "");
}

TEST_F(WhisperTranscriberTest, HasNoModelAfterAFailedLoad)
{
    loadMiniModel();
    EXPECT_TRUE(transcriber.isLoaded());
    EXPECT_FALSE(transcriber.loadModel(miniModel + ".missing"));
    EXPECT_FALSE(transcriber.isLoaded());
    loadMiniModel();
    add(test::speak("thank you"));
    EXPECT_EQ(transcriber.transcribe(), " thank you");
}

struct LengthCase {
    std::size_t samples;
    std::string reported;
};

class ReportedLength : public WhisperTranscriberTest, public testing::WithParamInterface<LengthCase> { };

TEST_P(ReportedLength, IsAtLeastOneSecond)
{
    loadMiniModel();
    add(std::vector<float>(GetParam().samples));
    std::string text = "unset";
    EXPECT_EQ(verboseLinesOf([&] { text = transcriber.transcribe(); }),
        "[Quillo] Transcribing " + GetParam().reported + " seconds)...\n[Quillo] Transcription: \"\"\n");
    EXPECT_EQ(text, "");
}

INSTANTIATE_TEST_SUITE_P(Lengths, ReportedLength,
    testing::Values(LengthCase{1, "16000 samples (1.0"}, LengthCase{8000, "16000 samples (1.0"},
        LengthCase{16000, "16000 samples (1.0"}, LengthCase{48000, "48000 samples (3.0"}));

TEST(WhisperTranscriberDeathTest, ListsComputeDevicesAtTheFirstLoadOnly)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a fresh process, in which nothing has been loaded yet
    const auto loadTwice = [] {
        WhisperTranscriber transcriber;
        const std::string first = verboseLinesOf([&] { transcriber.loadModel("missing"); });
        const std::string second = verboseLinesOf([&] { transcriber.loadModel("missing"); });
        const bool listed = first.starts_with("[Quillo] GPU backend: ") && first.ends_with(")\n");
        std::exit(listed && second.empty() ? 0 : 1);
    };
    EXPECT_EXIT(loadTwice(), testing::ExitedWithCode(0), "");
}

/// The mini model as bytes.
const std::string& modelBytes()
{
    static const std::string bytes = [] {
        std::ifstream file(miniModel, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }();
    return bytes;
}

std::size_t numberAt(std::size_t offset)
{
    std::uint32_t value = 0;
    std::memcpy(&value, modelBytes().data() + offset, sizeof value);
    return value;
}

/// Behind the magic number, eleven parameters and the filters.
std::size_t vocabularyOffset()
{
    return 48 + 8 + numberAt(48) * numberAt(52) * sizeof(float);
}

std::size_t tensorOffset()
{
    std::size_t offset = vocabularyOffset() + 4;
    for (std::size_t words = numberAt(vocabularyOffset()); words > 0; --words)
        offset += 4 + numberAt(offset);
    return offset;
}

struct DamageCase {
    std::string name;
    std::function<std::string()> content;

    friend void PrintTo(const DamageCase& that, std::ostream* out) { *out << that.name; }
};

DamageCase cutOff(const std::string& name, std::function<std::size_t()> length)
{
    return {name, [length = std::move(length)] { return modelBytes().substr(0, length()); }};
}

/// Another number in place of the one at an offset.
DamageCase withNumber(const std::string& name, std::function<std::size_t()> offset, std::int32_t number)
{
    return {name,
        [offset = std::move(offset), number] {
            std::string bytes = modelBytes();
            std::memcpy(bytes.data() + offset(), &number, sizeof number);
            return bytes;
        }};
}

class DamagedModel : public WhisperTranscriberTest, public testing::WithParamInterface<DamageCase> { };

TEST_P(DamagedModel, IsAFailureAndNothingWorse)
{
    std::ofstream(path, std::ios::binary) << GetParam().content();

    testing::internal::CaptureStderr();
    const bool loaded = transcriber.loadModel(path.string());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "whisper.cpp must be kept quiet";
    EXPECT_EQ(transcriber.isLoaded(), loaded);
    add(test::speak("hello world"));
    EXPECT_EQ(transcriber.transcribe(), "");
}

INSTANTIATE_TEST_SUITE_P(Files, DamagedModel,
    testing::Values(cutOff("empty", [] { return 0U; }),
        DamageCase{"webPage", [] { return "<!DOCTYPE html><html><body>404</body></html>\n"; }},
        cutOff("magicNumberOnly", [] { return 4U; }), cutOff("inTheFilters", [] { return 60U; }),
        cutOff("at2KiB", [] { return 2048U; }), cutOff("inTheVocabulary", [] { return tensorOffset() - 40; }),
        cutOff("beforeTheTensors", tensorOffset), cutOff("half", [] { return modelBytes().size() / 2; }),
        cutOff("lastByteMissing", [] { return modelBytes().size() - 1; }),
        DamageCase{"byteMissingInTheTensors",
            [] { return modelBytes().substr(0, 1'000'000) + modelBytes().substr(1'000'001); }},
        withNumber("tensorOfManyDimensions", tensorOffset, 1000),
        withNumber(
            "noAttentionHeads", [] { return 16U; }, 0),
        withNumber(
            "headsThatDoNotDivideTheState", [] { return 32U; }, 7),
        withNumber(
            "unknownFormat", [] { return 44U; }, 100),
        withNumber(
            "tooManyLayersForTheFile", [] { return 20U; }, 50'000'000)),
    [](const auto& test) { return test.param.name; });

TEST_F(WhisperTranscriberTest, ReportsAnExceptionOfWhisper)
{
    // An empty vocabulary is accepted, but the recognition looks for a word in it.
    std::ofstream(path, std::ios::binary)
        << modelBytes().substr(0, vocabularyOffset()) << std::string(4, '\0') << modelBytes().substr(tensorOffset());
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

#include "audio/audio_capture.h"
#include "base/log.h"
#include "stand_ins/fake_platform.h"
#include "stand_ins/fake_portaudio.h"

#include <gmock/gmock.h>

#include <atomic>
#include <optional>
#include <stdexcept>
#include <thread>

namespace quillo {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using Samples = std::vector<float>;

const Samples block(512, 0.1F);

class AudioCaptureTest : public testing::Test {
protected:
    AudioCaptureTest()
    {
        card.reset();
        FakePlatform::instance().reset();
    }
    ~AudioCaptureTest() override { EXPECT_EQ(card.openStreams(), 0U); }

    /// A callback that appends to a vector and shares ownership of `token`, so that a test sees its release.
    AudioCapture::SamplesCallback appendTo(Samples& target)
    {
        return [&target, held = token](
                   const float* samples, std::size_t count) { target.insert(target.end(), samples, samples + count); };
    }
    AudioCapture::LevelCallback appendTo(std::vector<int>& target)
    {
        return [&target, held = token](int level) { target.push_back(level); };
    }
    bool callbacksReleased() const { return token.use_count() == 1; }

    FakePortAudio& card = FakePortAudio::instance();
    std::shared_ptr<int> token = std::make_shared<int>();
    Samples audio;
    Samples segments;
    std::vector<int> levels;
};

TEST_F(AudioCaptureTest, ListsEveryDeviceWithAnInput)
{
    card.setDevices({{.name = "Speaker", .inputChannels = 0}, {.name = "Mikrofon ü", .inputChannels = 2},
                        {.hasInfo = false}, {.name = std::nullopt}},
        1);
    AudioCapture capture;
    EXPECT_THAT(capture.listInputDevices(), ElementsAre(Pair("1", "Mikrofon ü"), Pair("3", "Unknown Device")));
}

TEST_F(AudioCaptureTest, OpensWhatIsTheSystemsDefaultByThen)
{
    AudioCapture capture;
    capture.listInputDevices();
    card.setDevices({{}, {.name = "Headset"}}, 1);
    FakePlatform::instance().setSoundDevices("changed");
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(capture.startCapture(nullptr, nullptr).get());
        EXPECT_EQ(card.lastOpenRequest().input.device, 1);
        EXPECT_EQ(card.count(PaCall::Initialize), 2);
    }
}

TEST_F(AudioCaptureTest, FindsAMovedDeviceByItsName)
{
    const struct {
        std::vector<FakeDevice> devices; // where before there were a microphone and two headsets
        std::optional<int> headset; // where the second one of them is now
    } cases[] = {{{{}, {.name = "Headset"}, {.name = "Camera"}, {.name = "Headset"}}, 3},
        {{{.name = "Headset"}, {}}, 0}, {{{}, {.name = "Camera"}, {.name = "Telephone"}}, {}}};
    for (const auto& [devices, headset] : cases) {
        card.setDevices({{}, {.name = "Headset"}, {.name = "Headset"}}, 0);
        AudioCapture capture;
        capture.setDeviceId("2");
        capture.listInputDevices();
        card.setDevices(devices, 0);
        ASSERT_TRUE(capture.refreshDevices());
        EXPECT_EQ(capture.startTest("2", nullptr), headset.has_value());
        EXPECT_EQ(capture.startCapture(nullptr, nullptr).get(), headset.has_value());
        EXPECT_EQ(card.lastOpenRequest().input.device, headset.value_or(card.lastOpenRequest().input.device));
        EXPECT_EQ(capture.listedId("2"), "2") << "in the list that the user sees";
        capture.listInputDevices();
        EXPECT_EQ(capture.listedId("2"), headset ? std::to_string(*headset) : "");
        EXPECT_EQ(capture.listedId("1"), "1");
        if (headset) {
            capture.setDeviceId(std::to_string(*headset)); // from that list
            EXPECT_TRUE(capture.startCapture(nullptr, nullptr).get());
            EXPECT_EQ(card.lastOpenRequest().input.device, headset);
        }
    }
}

TEST_F(AudioCaptureTest, SharesThePortAudioLibrary)
{
    auto first = std::make_unique<AudioCapture>();
    auto second = std::make_unique<AudioCapture>();
    EXPECT_EQ(card.count(PaCall::Initialize), 0);
    first->initialise();
    EXPECT_THAT(second->listInputDevices(), testing::SizeIs(1));
    EXPECT_EQ(card.count(PaCall::Initialize), 1);
    first.reset();
    EXPECT_EQ(card.count(PaCall::Terminate), 0);
    EXPECT_TRUE(second->startCapture(nullptr, nullptr).get());
    second.reset();
    EXPECT_EQ(card.count(PaCall::Terminate), 1);
}

TEST_F(AudioCaptureTest, LivesWithoutPortAudio)
{
    card.fail(PaCall::Initialize);
    verboseOutput = true;
    testing::internal::CaptureStderr();
    AudioCapture capture;
    EXPECT_THAT(capture.listInputDevices(), IsEmpty());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "[Quillo] PortAudio could not be initialised: Fake failure\n");
    verboseOutput = false;
    card.setDevices({}, paNoDevice);
    for (const PaError error : {paUnanticipatedHostError, paNoError}) {
        card.fail(PaCall::Initialize, error);
        EXPECT_FALSE(capture.startCapture(nullptr, nullptr).get());
    }
    card.setDevices({{}}, 0);
    EXPECT_TRUE(capture.startCapture(nullptr, nullptr).get()) << "a microphone has come";
}

TEST_F(AudioCaptureTest, OpensTheRightDeviceOrNone)
{
    const struct {
        const char* id;
        std::optional<int> opened; // nothing: the start fails
        PaDeviceIndex defaultInput = 4;
    } cases[] = {{"", 4}, {"3", 3}, {"3abc", 3}, {" \t+3", 3}, {"abc", 4}, {"99999999999", 4}, {"1", {}}, {"2", {}},
        {"5", {}}, {"-1", {}}, {"-2", {}}, {"", {}, paNoDevice}, {"3", 3, paNoDevice}};
    for (const auto& [id, opened, defaultInput] : cases) {
        SCOPED_TRACE(id);
        card.reset();
        card.setDevices(
            {{}, {.inputChannels = 0}, {.hasInfo = false}, {.lowInputLatency = 0.03}, {.lowInputLatency = 0.04}},
            defaultInput);
        AudioCapture capture;
        EXPECT_EQ(capture.startTest(id, appendTo(levels)), opened.has_value());
        capture.setDeviceId(id);
        EXPECT_EQ(capture.startCapture(appendTo(audio), appendTo(segments)).get(), opened.has_value());
        EXPECT_EQ(card.count(PaCall::OpenStream), opened ? 2 : 0);
        if (!opened)
            continue;
        const auto request = card.lastOpenRequest();
        EXPECT_EQ(request.input.device, *opened);
        EXPECT_EQ(request.input.channelCount, 1);
        EXPECT_EQ(request.input.sampleFormat, paFloat32);
        EXPECT_EQ(request.input.suggestedLatency, *opened / 100.0);
        EXPECT_FALSE(request.hasOutput);
        EXPECT_EQ(request.sampleRate, 16000.0);
        EXPECT_EQ(request.framesPerBuffer, 512U);
        EXPECT_EQ(request.flags, paClipOff);
    }
}

TEST_F(AudioCaptureTest, LeavesNothingOpenWhenTheDeviceRefuses)
{
    for (const PaCall call : {PaCall::OpenStream, PaCall::StartStream}) {
        card.reset();
        AudioCapture capture;
        card.fail(call);
        EXPECT_FALSE(capture.startCapture(appendTo(audio), appendTo(segments)).get());
        EXPECT_FALSE(capture.startTest("", appendTo(levels)));
        EXPECT_EQ(card.openStreams(), 0U);
        EXPECT_TRUE(callbacksReleased());
        capture.stopCapture();
        card.fail(call, paNoError);
        EXPECT_TRUE(capture.startCapture(appendTo(audio), appendTo(segments)).get());
        EXPECT_EQ(card.runningStreams(), 1U);
    }
}

TEST_F(AudioCaptureTest, DeliversEveryBlockUnchangedUntilTheNextStart)
{
    AudioCapture capture;
    ASSERT_TRUE(capture.startCapture(appendTo(audio), appendTo(segments)).get());
    const Samples spoken{0.0F, 1.5F, -2.0F, 0.25F};
    card.pushNull();
    EXPECT_EQ(card.push(spoken), 1U);
    card.fail(PaCall::StopStream); // as when the device has died
    ASSERT_TRUE(capture.startCapture([](const float*, std::size_t) { throw std::bad_alloc(); }, nullptr).get());
    EXPECT_TRUE(callbacksReleased());
    EXPECT_EQ(card.push(spoken), 1U) << "PortAudio sees nothing of the exception";
    EXPECT_EQ(card.openStreams(), 1U);
    EXPECT_EQ(card.runningStreams(), 1U);
    EXPECT_EQ(audio, spoken);
    EXPECT_EQ(segments, spoken);
}

TEST_F(AudioCaptureTest, KeepsNobodyWaitingForACallThatHangs)
{
    for (const PaCall call : {PaCall::Initialize, PaCall::OpenStream, PaCall::StartStream}) {
        card.reset();
        AudioCapture capture;
        const std::size_t listed = call != PaCall::Initialize ? 1 : 0;
        if (listed > 0)
            capture.listInputDevices();
        card.hang(call);
        for (int i = 0; i < 100; ++i)
            capture.startCapture(appendTo(audio), appendTo(segments));
        while (card.count(call) == 0) // the last one is wanted, unlike those that more of them would replace
            std::this_thread::yield();
        Samples late;
        auto opened = capture.startCapture(
            [&late](const float* samples, std::size_t count) {
                late = {samples, samples + count};
            },
            nullptr);
        EXPECT_TRUE(callbacksReleased());
        EXPECT_EQ(capture.listInputDevices().size(), listed);
        card.resume();
        EXPECT_TRUE(opened.get());
        EXPECT_EQ(card.push(block), 1U);
        EXPECT_EQ(late, block) << "the recording is still open";
        // One may be given up between its opening and its start.
        const PaCall last = call == PaCall::StartStream ? call : PaCall::OpenStream;
        EXPECT_EQ(card.count(last), static_cast<int>(1 + listed)) << "what was given up is not opened";
    }
    EXPECT_EQ(audio, Samples());
}

TEST_F(AudioCaptureTest, GivesUpATestAndGoesWhileItsStreamsHang)
{
    auto capture = std::make_unique<AudioCapture>();
    ASSERT_TRUE(capture->startCapture(nullptr, nullptr).get());
    card.hang(PaCall::OpenStream);
    EXPECT_FALSE(capture->startTest("", appendTo(levels)));
    EXPECT_TRUE(callbacksReleased());
    capture.reset();
    EXPECT_TRUE(AudioCapture::libraryInUse());
    card.resume();
    while (AudioCapture::libraryInUse())
        std::this_thread::yield();
    EXPECT_EQ(card.openStreams(), 0U);
    EXPECT_EQ(card.count(PaCall::Terminate), 1);
}

TEST_F(AudioCaptureTest, SensitivitySetsTheThresholdOfTheNextCapture)
{
    const std::pair<float, float> thresholds[] = {
        {0.5F, 0.026F}, {0.0F, 0.002F}, {-0.2F, 0.002F}, {1.0F, 0.05F}, {1.7F, 0.05F}};
    AudioCapture capture;
    for (const auto& [sensitivity, threshold] : thresholds)
        for (const float factor : {0.99F, 1.01F}) {
            capture.setVadSensitivity(sensitivity);
            ASSERT_TRUE(capture.startCapture(nullptr, appendTo(segments)).get());
            capture.setVadSensitivity(0.25F); // not for this one
            segments.clear();
            card.push(Samples(512, threshold * factor));
            capture.stopCapture();
            EXPECT_EQ(segments.size(), factor > 1.0F ? 512U : 0U) << sensitivity;
        }
}

TEST_F(AudioCaptureTest, TestMeasuresEveryBlockBesideACapture)
{
    card.setDevices({{}, {}}, 0);
    AudioCapture capture;
    capture.setDeviceId("1");
    ASSERT_TRUE(capture.startCapture(appendTo(audio), appendTo(segments)).get());
    ASSERT_TRUE(capture.startTest("0", appendTo(levels)));
    EXPECT_EQ(card.push(block), 2U);
    capture.stopTest();
    card.push(block);
    ASSERT_TRUE(capture.startTest("0", nullptr));
    card.push(block);
    ASSERT_TRUE(capture.startTest("0", appendTo(levels)));
    capture.stopCapture();
    EXPECT_FALSE(capture.refreshDevices()) << "which would end the test";
    card.pushNull();
    for (const float amplitude : {0.0F, 0.05F, 0.2F})
        EXPECT_EQ(card.push(Samples(512, amplitude)), 1U);
    EXPECT_EQ(audio.size(), 3 * block.size());
    EXPECT_EQ(segments, audio);
    EXPECT_THAT(levels, ElementsAre(50, 0, 25, 100));
    capture.stopTest();
    EXPECT_TRUE(callbacksReleased());

    ASSERT_TRUE(capture.startCapture(appendTo(audio), nullptr).get());
    EXPECT_EQ(card.lastOpenRequest().input.device, 1);
}

// The engine ends a recording on a thread of its own while the user tries the microphone.
TEST_F(AudioCaptureTest, StopsCleanlyUnderConstantSoundWhileATestRuns)
{
    std::atomic<bool> speaking = true;
    std::thread speaker([&] {
        while (speaking)
            card.push(block);
    });
    AudioCapture capture;
    for (int i = 0; i < 100; ++i) {
        std::atomic<bool> stopped = false;
        std::atomic<int> blocks = 0;
        const auto hear = [&](const float*, std::size_t) {
            EXPECT_FALSE(stopped);
            ++blocks;
            blocks.notify_one();
        };
        capture.startCapture(hear, appendTo(segments));
        blocks.wait(0);
        std::thread stopper([&] {
            capture.stopCapture();
            stopped = true;
        });
        EXPECT_TRUE(capture.startTest("", appendTo(levels)));
        capture.stopTest();
        stopper.join();
        EXPECT_TRUE(callbacksReleased());
    }
    speaking = false;
    speaker.join();
}

} // namespace
} // namespace quillo

#include "audio/audio_capture.h"
#include "base/log.h"
#include "support/fake_portaudio.h"

#include <gmock/gmock.h>

#include <atomic>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <thread>

namespace quillo {
namespace {

using test::FakeDevice;
using test::FakePortAudio;
using test::PaCall;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using Samples = std::vector<float>;

class AudioCaptureTest : public testing::Test {
protected:
    AudioCaptureTest() { card.reset(); }
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
    void resume()
    {
        card.resume();
        while (AudioCapture::libraryInUse())
            std::this_thread::yield();
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
    card.setDevices({}, paNoDevice);
    EXPECT_THAT(capture.listInputDevices(), IsEmpty());
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
    EXPECT_TRUE(second->startCapture(nullptr, nullptr));
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
    EXPECT_FALSE(capture.startCapture(appendTo(audio), appendTo(segments)));
}

struct DeviceCase {
    std::string id;
    std::optional<int> opened; // nothing: the start fails
    PaDeviceIndex defaultInput = 4;

    friend void PrintTo(const DeviceCase& that, std::ostream* out) { *out << '"' << that.id << '"'; }
};

class DeviceResolution : public AudioCaptureTest, public testing::WithParamInterface<DeviceCase> {
protected:
    DeviceResolution()
    {
        card.setDevices(
            {{}, {.inputChannels = 0}, {.hasInfo = false}, {.lowInputLatency = 0.03}, {.lowInputLatency = 0.04}},
            GetParam().defaultInput);
    }
    void expectOutcome(bool started) const;
};

TEST_P(DeviceResolution, OpensTheRightDeviceOrNone)
{
    AudioCapture capture;
    capture.setDeviceId(GetParam().id);
    expectOutcome(capture.startCapture(appendTo(audio), appendTo(segments)));
}

TEST_P(DeviceResolution, OpensTheRightDeviceOrNoneForATest)
{
    AudioCapture capture;
    capture.setDeviceId("0");
    expectOutcome(capture.startTest(GetParam().id, appendTo(levels)));
}

void DeviceResolution::expectOutcome(bool started) const
{
    ASSERT_EQ(started, GetParam().opened.has_value());
    if (!started) {
        EXPECT_EQ(card.count(PaCall::OpenStream), 0);
        EXPECT_TRUE(callbacksReleased());
        return;
    }
    const auto request = card.lastOpenRequest();
    EXPECT_EQ(request.input.device, *GetParam().opened);
    EXPECT_EQ(request.input.channelCount, 1);
    EXPECT_EQ(request.input.sampleFormat, paFloat32);
    EXPECT_EQ(request.input.suggestedLatency, *GetParam().opened / 100.0);
    EXPECT_EQ(request.input.hostApiSpecificStreamInfo, nullptr);
    EXPECT_FALSE(request.hasOutput);
    EXPECT_EQ(request.sampleRate, 16000.0);
    EXPECT_EQ(request.framesPerBuffer, 512U);
    EXPECT_EQ(request.flags, paClipOff);
}

INSTANTIATE_TEST_SUITE_P(Identifiers, DeviceResolution,
    testing::Values(DeviceCase{"", 4}, DeviceCase{"3", 3}, DeviceCase{"3abc", 3}, DeviceCase{" \t+3", 3},
        DeviceCase{"003", 3}, DeviceCase{"abc", 4}, DeviceCase{"-", 4}, DeviceCase{"99999999999", 4},
        DeviceCase{"1", {}}, DeviceCase{"2", {}}, DeviceCase{"5", {}}, DeviceCase{"-1", {}}, DeviceCase{"-2", {}},
        DeviceCase{"", {}, paNoDevice}, DeviceCase{"abc", {}, paNoDevice}, DeviceCase{"3", 3, paNoDevice}));

class RefusingDevice : public AudioCaptureTest, public testing::WithParamInterface<PaCall> { };

TEST_P(RefusingDevice, LeavesNothingOpen)
{
    AudioCapture capture;
    card.fail(GetParam());
    EXPECT_FALSE(capture.startCapture(appendTo(audio), appendTo(segments)));
    EXPECT_EQ(card.openStreams(), 0U);
    EXPECT_TRUE(callbacksReleased());
    capture.stopCapture();
    EXPECT_EQ(card.count(PaCall::StopStream), 0);
    EXPECT_EQ(card.count(PaCall::CloseStream), GetParam() == PaCall::StartStream ? 1 : 0);
    EXPECT_THAT(audio, IsEmpty());

    card.fail(GetParam(), paNoError);
    EXPECT_TRUE(capture.startCapture(appendTo(audio), appendTo(segments)));
    EXPECT_EQ(card.runningStreams(), 1U);
}

TEST_P(RefusingDevice, LeavesNothingOpenAfterATest)
{
    AudioCapture capture;
    ASSERT_TRUE(capture.startTest("", appendTo(levels)));
    card.fail(GetParam());
    EXPECT_FALSE(capture.startTest("", appendTo(levels)));
    EXPECT_EQ(card.openStreams(), 0U);
    EXPECT_TRUE(callbacksReleased());
    capture.stopTest();
    EXPECT_EQ(card.count(PaCall::StopStream), 1);
}

INSTANTIATE_TEST_SUITE_P(Calls, RefusingDevice, testing::Values(PaCall::OpenStream, PaCall::StartStream));

TEST_F(AudioCaptureTest, DeliversEveryBlockUnchanged)
{
    AudioCapture capture;
    ASSERT_TRUE(capture.startCapture(appendTo(audio), nullptr));
    const Samples spoken{0.0F, 1.5F, -2.0F, 0.25F};
    card.pushNull();
    EXPECT_EQ(card.push(spoken), 1U);
    capture.stopCapture();
    EXPECT_EQ(card.push(spoken), 0U);
    EXPECT_EQ(audio, spoken);
    EXPECT_TRUE(callbacksReleased());
    capture.stopCapture();
    EXPECT_EQ(card.count(PaCall::StopStream), 1);
}

TEST_F(AudioCaptureTest, ASecondStartReplacesTheFirst)
{
    AudioCapture capture;
    ASSERT_TRUE(capture.startCapture(nullptr, appendTo(segments)));
    const Samples loud(512, 0.5F);
    card.push(loud);
    Samples secondSegments;
    ASSERT_TRUE(capture.startCapture(nullptr, appendTo(secondSegments)));
    EXPECT_EQ(segments, loud);
    EXPECT_EQ(card.push(loud), 1U);
    capture.stopCapture();
    EXPECT_EQ(segments, loud);
    EXPECT_EQ(secondSegments, loud);
}

TEST_F(AudioCaptureTest, SurvivesADeviceThatDied)
{
    AudioCapture capture;
    ASSERT_TRUE(capture.startCapture(appendTo(audio), appendTo(segments)));
    card.push(Samples(512, 0.5F));
    card.fail(PaCall::StopStream);
    capture.stopCapture();
    EXPECT_EQ(card.openStreams(), 0U);
    EXPECT_EQ(segments.size(), 512U);
    EXPECT_TRUE(callbacksReleased());
}

TEST_F(AudioCaptureTest, KeepsExceptionsOfItsConsumersFromPortAudio)
{
    AudioCapture capture;
    ASSERT_TRUE(capture.startCapture([](const float*, std::size_t) { throw std::bad_alloc(); }, nullptr));
    EXPECT_EQ(card.push(Samples(512)), 1U);
    EXPECT_EQ(card.runningStreams(), 1U);
}

class HangingCall : public AudioCaptureTest, public testing::WithParamInterface<PaCall> { };

TEST_P(HangingCall, KeepsNobodyWaiting)
{
    const Samples loud(512, 0.5F);
    AudioCapture capture;
    const bool initialised = GetParam() != PaCall::Initialize;
    const bool recording = GetParam() == PaCall::StopStream;
    if (initialised)
        capture.listInputDevices();
    if (recording) {
        ASSERT_TRUE(capture.startCapture(appendTo(audio), appendTo(segments)));
        card.push(loud);
    }
    card.hang(GetParam());
    for (int i = 0; i < 100; ++i)
        EXPECT_FALSE(capture.startCapture(appendTo(audio), appendTo(segments)));
    EXPECT_FALSE(capture.startTest("", appendTo(levels)));
    EXPECT_EQ(capture.listInputDevices().size(), initialised ? 1U : 0U) << "of the beginning";
    EXPECT_TRUE(callbacksReleased());
    EXPECT_EQ(segments, recording ? loud : Samples{});
    card.push(loud);
    EXPECT_EQ(audio, segments) << "the stream that still runs is heard no more";

    resume();
    EXPECT_EQ(card.openStreams(), 0U);
    EXPECT_EQ(card.count(PaCall::OpenStream), initialised ? 1 : 0) << "what was given up is not opened later";
    EXPECT_TRUE(capture.startCapture(appendTo(audio), nullptr));
    EXPECT_EQ(card.push(loud), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, HangingCall, testing::Values(PaCall::Initialize, PaCall::OpenStream, PaCall::StopStream));

TEST_F(AudioCaptureTest, GoesWhileItsStreamsHang)
{
    auto capture = std::make_unique<AudioCapture>();
    ASSERT_TRUE(capture->startCapture(appendTo(audio), nullptr));
    ASSERT_TRUE(capture->startTest("", appendTo(levels)));
    card.hang(PaCall::CloseStream);
    capture.reset();
    EXPECT_TRUE(AudioCapture::libraryInUse());
    resume();
    EXPECT_EQ(card.openStreams(), 0U);
    EXPECT_EQ(card.count(PaCall::Terminate), 1);
}

struct SensitivityCase {
    float sensitivity;
    float threshold;
};

class Sensitivity : public AudioCaptureTest, public testing::WithParamInterface<SensitivityCase> { };

TEST_P(Sensitivity, SetsTheThresholdOfTheNextCapture)
{
    const auto speak = [this](float amplitude) {
        segments.clear();
        card.push(Samples(512, amplitude));
    };
    AudioCapture capture;
    ASSERT_TRUE(capture.startCapture(nullptr, appendTo(segments)));
    capture.setVadSensitivity(GetParam().sensitivity);
    speak(0.027F);
    capture.stopCapture();
    EXPECT_EQ(segments.size(), 512U) << "a running capture must keep the threshold that it began with";

    for (const float factor : {0.99F, 1.01F}) {
        ASSERT_TRUE(capture.startCapture(nullptr, appendTo(segments)));
        speak(GetParam().threshold * factor);
        capture.stopCapture();
        EXPECT_EQ(segments.size(), factor > 1.0F ? 512U : 0U);
    }
}

INSTANTIATE_TEST_SUITE_P(Values, Sensitivity,
    testing::Values(SensitivityCase{0.5F, 0.026F}, SensitivityCase{0.0F, 0.002F}, SensitivityCase{-0.2F, 0.002F},
        SensitivityCase{1.0F, 0.05F}, SensitivityCase{1.7F, 0.05F}));

TEST_F(AudioCaptureTest, StopsCleanlyUnderConstantSound)
{
    std::atomic<bool> speaking = true;
    std::thread speaker([&] {
        const Samples block(512, 0.5F);
        while (speaking) {
            card.push(block);
            std::this_thread::yield();
        }
    });
    AudioCapture capture;
    for (int i = 0; i < 50; ++i) {
        std::atomic<bool> stopped = false;
        std::atomic<int> blocks = 0;
        ASSERT_TRUE(capture.startCapture(
            [&](const float*, std::size_t) {
                EXPECT_FALSE(stopped);
                ++blocks;
                blocks.notify_one();
            },
            appendTo(segments)));
        blocks.wait(0);
        capture.stopCapture();
        stopped = true;
        EXPECT_TRUE(callbacksReleased());
    }
    speaking = false;
    speaker.join();
}

TEST_F(AudioCaptureTest, TestMeasuresEveryBlock)
{
    AudioCapture capture;
    ASSERT_TRUE(capture.startTest("", appendTo(levels)));
    card.pushNull();
    for (const float amplitude : {0.0F, 0.05F, 0.2F})
        EXPECT_EQ(card.push(Samples(512, amplitude)), 1U);
    std::vector<int> later;
    ASSERT_TRUE(capture.startTest("", appendTo(later)));
    EXPECT_EQ(card.push(Samples(1024, 0.1F)), 1U);
    capture.stopTest();
    EXPECT_TRUE(callbacksReleased());
    EXPECT_EQ(card.push(Samples(512, 0.1F)), 0U);
    EXPECT_THAT(levels, ElementsAre(0, 25, 100));
    EXPECT_THAT(later, ElementsAre(50, 50));

    ASSERT_TRUE(capture.startTest("", nullptr));
    EXPECT_EQ(card.push(Samples(512, 0.1F)), 1U);
}

TEST_F(AudioCaptureTest, TestAndCaptureLeaveEachOtherAlone)
{
    card.setDevices({{}, {}}, 0);
    AudioCapture capture;
    capture.setDeviceId("1");
    ASSERT_TRUE(capture.startCapture(appendTo(audio), appendTo(segments)));
    ASSERT_TRUE(capture.startTest("0", appendTo(levels)));
    const Samples block(512, 0.1F);
    EXPECT_EQ(card.push(block), 2U);
    capture.stopTest();
    EXPECT_EQ(card.push(block), 1U);
    ASSERT_TRUE(capture.startTest("0", appendTo(levels)));
    capture.stopCapture();
    EXPECT_EQ(card.push(block), 1U);
    EXPECT_EQ(audio.size(), 1024U);
    EXPECT_EQ(segments.size(), 1024U);
    EXPECT_THAT(levels, ElementsAre(50, 50));

    ASSERT_TRUE(capture.startCapture(appendTo(audio), nullptr));
    EXPECT_EQ(card.lastOpenRequest().input.device, 1);
}

// The engine ends a recording on a thread of its own while the user tries the microphone.
TEST_F(AudioCaptureTest, TestRunsWhileAnotherThreadStopsTheCapture)
{
    AudioCapture capture;
    std::atomic<bool> speaking = true;
    std::thread speaker([&] {
        while (speaking)
            card.push(Samples(512, 0.1F));
    });
    for (int i = 0; i < 200; ++i) {
        EXPECT_TRUE(capture.startCapture([](const float*, std::size_t) {}, nullptr));
        std::thread stopper([&] { capture.stopCapture(); });
        EXPECT_TRUE(capture.startTest("", appendTo(levels)));
        capture.stopTest();
        EXPECT_TRUE(callbacksReleased());
        stopper.join();
    }
    speaking = false;
    speaker.join();
}

} // namespace
} // namespace quillo

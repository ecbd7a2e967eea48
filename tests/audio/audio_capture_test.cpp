#include "audio/audio_capture.h"
#include "base/log.h"
#include "support/fake_platform.h"
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
using test::FakePlatform;
using test::FakePortAudio;
using test::PaCall;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using Samples = std::vector<float>;

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
    static void settle()
    {
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
}

TEST_F(AudioCaptureTest, OpensWhatIsTheSystemsDefaultByThen)
{
    card.setDevices({{}, {.name = "Headset"}}, 0);
    AudioCapture capture;
    capture.listInputDevices();
    card.setDevices({{}, {.name = "Headset"}}, 1);
    FakePlatform::instance().setSoundDevices("changed");
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(capture.startCapture(appendTo(audio), nullptr).get());
        EXPECT_EQ(card.lastOpenRequest().input.device, 1);
        EXPECT_EQ(card.count(PaCall::Initialize), 2);
    }
}

struct MoveCase {
    std::vector<FakeDevice> devices; // where before there were a microphone and two headsets
    std::optional<int> headset; // where the second one of them is now

    friend void PrintTo(const MoveCase& that, std::ostream* out) { *out << that.devices.size() << " devices"; }
};

class MovedDevice : public AudioCaptureTest, public testing::WithParamInterface<MoveCase> { };

TEST_P(MovedDevice, IsFoundAgainByItsName)
{
    card.setDevices({{}, {.name = "Headset"}, {.name = "Headset"}}, 0);
    AudioCapture capture;
    capture.setDeviceId("2");
    capture.listInputDevices();
    card.setDevices(GetParam().devices, 0);
    ASSERT_TRUE(capture.refreshDevices());
    const auto expectOpened = [&](bool opened) {
        EXPECT_EQ(opened ? std::optional(card.lastOpenRequest().input.device) : std::nullopt, GetParam().headset);
    };
    expectOpened(capture.startTest("2", nullptr));
    expectOpened(capture.startCapture(nullptr, nullptr).get());
    EXPECT_EQ(capture.listedId("2"), "2") << "in the list that the user sees";
    capture.listInputDevices();
    EXPECT_EQ(capture.listedId("2"), GetParam().headset ? std::to_string(*GetParam().headset) : "");
    EXPECT_EQ(capture.listedId("1"), "1");
}

INSTANTIATE_TEST_SUITE_P(Lists, MovedDevice,
    testing::Values(MoveCase{{{}, {.name = "Headset"}, {.name = "Camera"}, {.name = "Headset"}}, 3},
        MoveCase{{{.name = "Headset"}, {}}, 0}, MoveCase{{{}, {.name = "Camera"}, {.name = "Telephone"}}, {}}));

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
        EXPECT_FALSE(capture.startCapture(appendTo(audio), appendTo(segments)).get());
    }
    card.setDevices({{}}, 0);
    EXPECT_TRUE(capture.startCapture(appendTo(audio), appendTo(segments)).get()) << "a microphone has come";
}

struct DeviceCase {
    std::string id;
    std::optional<int> opened; // nothing: the start fails
    PaDeviceIndex defaultInput = 4;

    friend void PrintTo(const DeviceCase& that, std::ostream* out) { *out << '"' << that.id << '"'; }
};

class DeviceResolution : public AudioCaptureTest, public testing::WithParamInterface<DeviceCase> { };

TEST_P(DeviceResolution, OpensTheRightDeviceOrNone)
{
    card.setDevices(
        {{}, {.inputChannels = 0}, {.hasInfo = false}, {.lowInputLatency = 0.03}, {.lowInputLatency = 0.04}},
        GetParam().defaultInput);
    AudioCapture capture;
    const bool tested = capture.startTest(GetParam().id, appendTo(levels));
    capture.setDeviceId(GetParam().id);
    ASSERT_EQ(capture.startCapture(appendTo(audio), appendTo(segments)).get(), GetParam().opened.has_value());
    ASSERT_EQ(tested, GetParam().opened.has_value());
    if (!tested) {
        EXPECT_EQ(card.count(PaCall::OpenStream), 0);
        EXPECT_TRUE(callbacksReleased());
        return;
    }
    const auto request = card.lastOpenRequest();
    EXPECT_EQ(request.input.device, *GetParam().opened);
    EXPECT_EQ(request.input.channelCount, 1);
    EXPECT_EQ(request.input.sampleFormat, paFloat32);
    EXPECT_EQ(request.input.suggestedLatency, *GetParam().opened / 100.0);
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
    EXPECT_FALSE(capture.startCapture(appendTo(audio), appendTo(segments)).get());
    EXPECT_FALSE(capture.startTest("", appendTo(levels)));
    EXPECT_EQ(card.openStreams(), 0U);
    EXPECT_TRUE(callbacksReleased());
    capture.stopCapture();

    card.fail(GetParam(), paNoError);
    EXPECT_TRUE(capture.startCapture(appendTo(audio), appendTo(segments)).get());
    EXPECT_EQ(card.runningStreams(), 1U);
    EXPECT_EQ(card.count(PaCall::StopStream), 0);
}

INSTANTIATE_TEST_SUITE_P(Calls, RefusingDevice, testing::Values(PaCall::OpenStream, PaCall::StartStream));

TEST_F(AudioCaptureTest, DeliversEveryBlockUnchanged)
{
    AudioCapture capture;
    ASSERT_TRUE(capture.startCapture(appendTo(audio), nullptr).get());
    const Samples spoken{0.0F, 1.5F, -2.0F, 0.25F};
    card.pushNull();
    EXPECT_EQ(card.push(spoken), 1U);
    capture.stopCapture();
    EXPECT_TRUE(callbacksReleased());
    card.push(spoken);
    EXPECT_EQ(audio, spoken);
}

TEST_F(AudioCaptureTest, ASecondStartReplacesTheFirst)
{
    AudioCapture capture;
    ASSERT_TRUE(capture.startCapture(nullptr, appendTo(segments)).get());
    const Samples loud(512, 0.5F);
    card.push(loud);
    card.fail(PaCall::StopStream); // as when the device has died
    Samples secondSegments;
    ASSERT_TRUE(capture.startCapture(nullptr, appendTo(secondSegments)).get());
    EXPECT_EQ(card.openStreams(), 1U);
    EXPECT_EQ(card.push(loud), 1U);
    capture.stopCapture();
    EXPECT_EQ(segments, loud);
    EXPECT_EQ(secondSegments, loud);
}

TEST_F(AudioCaptureTest, KeepsExceptionsOfItsConsumersFromPortAudio)
{
    AudioCapture capture;
    ASSERT_TRUE(capture.startCapture([](const float*, std::size_t) { throw std::bad_alloc(); }, nullptr).get());
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
        ASSERT_TRUE(capture.startCapture(appendTo(audio), appendTo(segments)).get());
        card.push(loud);
    }
    card.hang(GetParam());
    for (int i = 0; i < 100 || card.count(GetParam()) == 0; ++i)
        capture.startCapture(appendTo(audio), appendTo(segments));
    Samples late;
    auto opened = capture.startCapture(
        [&late](const float* samples, std::size_t count) {
            late = {samples, samples + count};
        },
        nullptr);
    EXPECT_TRUE(callbacksReleased());
    card.push(loud);
    EXPECT_EQ(audio, recording ? loud : Samples{}) << "the stream that still runs is heard no more";
    EXPECT_EQ(segments, audio);
    EXPECT_EQ(capture.listInputDevices().size(), initialised ? 1U : 0U);

    card.resume();
    EXPECT_TRUE(opened.get());
    EXPECT_EQ(card.push(loud), 1U);
    EXPECT_EQ(late, loud) << "the recording is still open";
    EXPECT_EQ(card.count(PaCall::OpenStream), initialised ? 2 : 1) << "what was given up before is not opened";
}

INSTANTIATE_TEST_SUITE_P(
    Calls, HangingCall, testing::Values(PaCall::Initialize, PaCall::OpenStream, PaCall::StopStream));

TEST_F(AudioCaptureTest, GivesUpATestAndGoesWhileItsStreamsHang)
{
    auto capture = std::make_unique<AudioCapture>();
    ASSERT_TRUE(capture->startCapture(appendTo(audio), nullptr).get());
    card.hang(PaCall::OpenStream);
    EXPECT_FALSE(capture->startTest("", appendTo(levels)));
    capture.reset();
    EXPECT_TRUE(callbacksReleased());
    EXPECT_TRUE(AudioCapture::libraryInUse());
    card.resume();
    settle();
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
    card.push(Samples(512, 0.1F));
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
    ASSERT_TRUE(capture.startCapture(appendTo(audio), appendTo(segments)).get());
    ASSERT_TRUE(capture.startTest("0", appendTo(levels)));
    const Samples block(512, 0.1F);
    EXPECT_EQ(card.push(block), 2U);
    capture.stopTest();
    card.push(block);
    ASSERT_TRUE(capture.startTest("0", appendTo(levels)));
    capture.stopCapture();
    card.push(block);
    EXPECT_EQ(audio.size(), 1024U);
    EXPECT_EQ(segments.size(), 1024U);
    EXPECT_THAT(levels, ElementsAre(50, 50));

    ASSERT_TRUE(capture.startCapture(appendTo(audio), nullptr).get());
    EXPECT_EQ(card.lastOpenRequest().input.device, 1);
}

// The engine ends a recording on a thread of its own while the user tries the microphone.
TEST_F(AudioCaptureTest, StopsCleanlyUnderConstantSoundWhileATestRuns)
{
    std::atomic<bool> speaking = true;
    std::thread speaker([&] {
        while (speaking)
            card.push(Samples(512, 0.1F));
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

#include "engine/engine.h"

#include "audio/audio_capture.h"
#include "base/log.h"
#include "support/fake_platform.h"
#include "support/fake_portaudio.h"
#include "support/speech.h"
#include "transcribe/whisper_transcriber.h"

#include <QCoreApplication>

#include <gmock/gmock.h>

#include <array>
#include <chrono>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace quillo {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
namespace vk = platform::vk;

// What the small test model recognises without fail.
constexpr std::array sentences{"hello world", "one two three four five", "good morning team"};

const std::vector<float>& spoken(std::size_t sentence)
{
    static std::array<std::vector<float>, sentences.size()> recordings;
    if (recordings[sentence].empty())
        recordings[sentence] = test::speak(sentences[sentence]);
    return recordings[sentence];
}

int occurrences(const std::string& text, const std::string& part)
{
    int count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        ++count;
    return count;
}

/// The engine with its real collaborators, a keyboard to press and a microphone to speak into. The test's thread is the
/// user-interface thread; its event loop runs only inside waitFor().
class EngineTest : public testing::Test {
protected:
    void SetUp() override
    {
        sound_.reset();
        system_.reset();
        capture_ = std::make_unique<AudioCapture>();
        engine_.setAudioCapture(capture_.get());
        engine_.setLocalTranscriber(&transcriber_);
        engine_.setOnTranscription([this](const std::string& text) {
            const std::lock_guard lock(mutex_);
            delivered_.push_back(text);
        });
        testing::internal::CaptureStderr();
        verboseOutput = true;
    }

    void TearDown() override
    {
        engine_.stop();
        verboseOutput = false;
        testing::internal::GetCapturedStderr();
        EXPECT_EQ(sound_.openStreams(), 0U) << "the microphone was left open";
    }

    void loadModel() { ASSERT_TRUE(transcriber_.loadModel(QUILLO_TEST_DATA_DIR "/ggml-mini.bin")); }

    template<typename Condition> bool waitFor(Condition condition)
    {
        const auto deadline = std::chrono::steady_clock::now() + 60s;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            QCoreApplication::processEvents();
            std::this_thread::sleep_for(1ms);
        }
        return true;
    }

    bool waitForMicrophone(bool running)
    {
        return waitFor([&] { return sound_.runningStreams() == (running ? 1U : 0U); });
    }

    bool waitForDelivered(std::size_t count)
    {
        return waitFor([&] { return delivered().size() == count; });
    }

    void pressHotkey() { system_.press({vk::leftControl, vk::leftShift, vk::space}); }
    void releaseHotkey() { system_.release({vk::space, vk::leftShift, vk::leftControl}); }

    void dictate(std::size_t sentence)
    {
        pressHotkey();
        ASSERT_TRUE(waitForMicrophone(true));
        sound_.push(spoken(sentence));
        releaseHotkey();
    }

    std::vector<std::string> delivered() const
    {
        const std::lock_guard lock(mutex_);
        return delivered_;
    }

    /// Ends everything and returns the diagnostic lines written since the test began.
    std::string finalLog()
    {
        engine_.stop();
        std::string log = testing::internal::GetCapturedStderr();
        testing::internal::CaptureStderr();
        return log;
    }

    test::FakePortAudio& sound_ = test::FakePortAudio::instance();
    test::FakePlatform& system_ = test::FakePlatform::instance();
    mutable std::mutex mutex_;
    std::vector<std::string> delivered_;
    std::unique_ptr<AudioCapture> capture_;
    WhisperTranscriber transcriber_;
    Engine engine_;
};

TEST_F(EngineTest, PushToTalkDeliversWhatWasSaidWhileTheKeyWasHeld)
{
    loadModel();
    engine_.start();
    dictate(0);
    ASSERT_TRUE(waitForDelivered(1));
    dictate(1);
    ASSERT_TRUE(waitForDelivered(2));
    EXPECT_THAT(delivered(), ElementsAre(sentences[0], sentences[1])) << "trimmed, in order";
    EXPECT_EQ(system_.pastes(), delivered());
    const std::string log = finalLog();
    EXPECT_THAT(log, HasSubstr("[Quillo] Hotkey registered: Ctrl+Shift+Space (push-to-talk: yes)\n"));
    EXPECT_THAT(log, HasSubstr("[Quillo] Captured " + std::to_string(spoken(0).size()) + " samples ("));
}

TEST_F(EngineTest, ReleaseBeforeThePostedStartCancelsIt)
{
    loadModel();
    engine_.start();
    for (int i = 0; i < 20; ++i) {
        pressHotkey();
        releaseHotkey();
    }
    QCoreApplication::processEvents();
    EXPECT_EQ(sound_.count(test::PaCall::OpenStream), 0);
    dictate(0);
    ASSERT_TRUE(waitForDelivered(1));
    EXPECT_EQ(occurrences(finalLog(), "Starting recording"), 1);
}

TEST_F(EngineTest, ToggleModeRecordsFromPressToPress)
{
    loadModel();
    engine_.setToggleMode(true);
    engine_.start();
    pressHotkey();
    releaseHotkey();
    ASSERT_TRUE(waitForMicrophone(true));
    sound_.push(spoken(0));
    pressHotkey();
    releaseHotkey();
    ASSERT_TRUE(waitForDelivered(1));

    // Two presses before the user-interface thread gets to the first: on and off again.
    pressHotkey();
    releaseHotkey();
    pressHotkey();
    releaseHotkey();
    QCoreApplication::processEvents();
    EXPECT_EQ(sound_.count(test::PaCall::OpenStream), 1);

    pressHotkey();
    ASSERT_TRUE(waitForMicrophone(true)) << "the next press starts again";
}

TEST_F(EngineTest, RecordingsMadeWhileEarlierOnesAreRecognisedArriveInOrder)
{
    loadModel();
    engine_.start();
    for (std::size_t i = 0; i < sentences.size(); ++i) {
        dictate(i);
        ASSERT_TRUE(waitForMicrophone(false));
    }
    ASSERT_TRUE(waitForDelivered(sentences.size()));
    EXPECT_THAT(delivered(), ElementsAre(sentences[0], sentences[1], sentences[2]));
}

TEST_F(EngineTest, LimitClosesARecordingThatIsHeldOpen)
{
    loadModel();
    engine_.setMaxDurationSeconds(1);
    engine_.start();
    pressHotkey();
    ASSERT_TRUE(waitForMicrophone(true));
    sound_.push(spoken(0));
    ASSERT_TRUE(waitForDelivered(1));
    releaseHotkey(); // finds nothing to close
    dictate(1);
    ASSERT_TRUE(waitForDelivered(2));
    EXPECT_EQ(occurrences(finalLog(), "Stopping recording"), 2);
}

TEST_F(EngineTest, UnusableLimitMeansTheDefault)
{
    for (const int seconds : {0, -1}) {
        engine_.setMaxDurationSeconds(seconds);
        engine_.start();
        pressHotkey();
        ASSERT_TRUE(waitForMicrophone(true));
        std::this_thread::sleep_for(1200ms); // a watchdog that took the limit as it stands would have closed by now
        EXPECT_EQ(sound_.runningStreams(), 1U);
        releaseHotkey();
        ASSERT_TRUE(waitForMicrophone(false));
    }
}

TEST_F(EngineTest, StopFinishesAnOpenRecordingFirst)
{
    loadModel();
    engine_.start();
    pressHotkey();
    ASSERT_TRUE(waitForMicrophone(true));
    sound_.push(spoken(0));
    engine_.stop();
    EXPECT_THAT(system_.pastes(), ElementsAre(sentences[0]));
    engine_.stop();
    releaseHotkey();
    EXPECT_EQ(system_.pastes().size(), 1U);
}

TEST_F(EngineTest, StopWaitsForAllSequencesUnderWay)
{
    loadModel();
    engine_.start();
    dictate(0);
    ASSERT_TRUE(waitForMicrophone(false));
    dictate(1);
    engine_.stop(); // the second recording may not even have been closed
    EXPECT_THAT(system_.pastes(), ElementsAre(sentences[0], sentences[1]));
}

TEST_F(EngineTest, StopCancelsAStartThatWaits)
{
    engine_.start();
    pressHotkey();
    engine_.stop();
    QCoreApplication::processEvents();
    EXPECT_EQ(sound_.count(test::PaCall::OpenStream), 0);
}

TEST_F(EngineTest, NothingIsDeliveredWithoutSamplesOrModel)
{
    engine_.start();
    dictate(0); // no model
    ASSERT_TRUE(waitForMicrophone(false));

    loadModel();
    sound_.fail(test::PaCall::OpenStream);
    pressHotkey(); // no microphone: an open recording that hears nothing
    ASSERT_TRUE(waitFor([&] { return sound_.count(test::PaCall::OpenStream) == 2; }));
    releaseHotkey();
    sound_.fail(test::PaCall::OpenStream, paNoError);

    pressHotkey(); // silence
    ASSERT_TRUE(waitForMicrophone(true));
    sound_.push(std::vector<float>(16000, 0.0F));
    releaseHotkey();
    ASSERT_TRUE(waitForMicrophone(false));

    const std::string log = finalLog();
    EXPECT_EQ(occurrences(log, "Stopping recording"), 3);
    EXPECT_THAT(log, HasSubstr("[Quillo] Captured 0 samples (0.0 seconds)\n"));
    EXPECT_EQ(occurrences(log, "Trying local transcription"), 1);
    EXPECT_THAT(system_.pastes(), IsEmpty());
    EXPECT_THAT(delivered(), IsEmpty());
}

TEST_F(EngineTest, MissingCollaboratorsAreSkipped)
{
    engine_.setAudioCapture(nullptr);
    engine_.setLocalTranscriber(nullptr);
    engine_.setOnTranscription({});
    engine_.start();
    pressHotkey();
    QCoreApplication::processEvents();
    releaseHotkey();
    EXPECT_EQ(occurrences(finalLog(), "[Quillo] Captured 0 samples (0.0 seconds)\n"), 1);
}

TEST_F(EngineTest, RestartChangesTheHotkeyAndLeavesAnOpenRecordingAlone)
{
    loadModel();
    engine_.start();
    pressHotkey();
    ASSERT_TRUE(waitForMicrophone(true));
    engine_.setHotkey("Alt+X");
    engine_.restartHotkey();
    EXPECT_EQ(system_.hooksRunning(), 1);
    sound_.push(spoken(0));
    releaseHotkey(); // no longer the hotkey
    EXPECT_EQ(sound_.runningStreams(), 1U);

    system_.press({vk::leftMenu, 'X'});
    system_.release({'X', vk::leftMenu});
    ASSERT_TRUE(waitForDelivered(1));
    EXPECT_THAT(delivered(), ElementsAre(sentences[0]));
}

TEST_F(EngineTest, ConflictsAreReportedAndTheHotkeyIsArmedAllTheSame)
{
    verboseOutput = false;
    engine_.setHotkey("alt + f4");
    engine_.start();
    system_.setProbeResult(platform::ProbeResult::HeldByAnother);
    engine_.setHotkey("ctrl+q");
    engine_.restartHotkey();
    verboseOutput = true;
    engine_.restartHotkey();
    system_.refuseHook(87);
    engine_.restartHotkey();
    EXPECT_EQ(system_.hooksInstalled(), 3);
    EXPECT_EQ(finalLog(),
        "[Quillo] ERROR: Hotkey 'Alt+F4' is reserved by the OS and will not work\n"
        "[Quillo] Hotkey 'Ctrl+Q' may be registered by another application (our low-level hook may still work)\n"
        "[Quillo] Hotkey registered: Ctrl+Q (push-to-talk: yes)\n"
        "[Quillo] Hotkey 'Ctrl+Q' may be registered by another application (our low-level hook may still work)\n"
        "[Quillo] ERROR: Failed to install keyboard hook (error 87)\n");
}

TEST_F(EngineTest, PasteIsSentEvenWhenTheClipboardIsHeldByAnother)
{
    loadModel();
    engine_.start();
    system_.refuseClipboard(true);
    dictate(0);
    ASSERT_TRUE(waitForDelivered(1));
    EXPECT_THAT(system_.pastes(), ElementsAre(""));
}

// Keys, samples and the limit at random moments: every recording that opens is closed exactly once, and the program
// works as before when it is over.
TEST_F(EngineTest, SurvivesAStormOfKeys)
{
    for (const bool toggle : {false, true}) {
        engine_.setToggleMode(toggle);
        engine_.setMaxDurationSeconds(1);
        engine_.restartHotkey();
        std::atomic<bool> done{false};
        std::thread user([&] {
            std::mt19937 random(toggle ? 1 : 2);
            for (int i = 0; i < 300; ++i) {
                pressHotkey();
                std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
                sound_.push(std::vector<float>(512, 0.1F));
                releaseHotkey();
                std::this_thread::sleep_for(std::chrono::microseconds(random() % 1000));
            }
            done = true;
        });
        EXPECT_TRUE(waitFor([&] { return done.load(); }));
        user.join();
        EXPECT_TRUE(waitForMicrophone(false)) << "a recording stays open beyond its limit";
    }
    engine_.stop();
    const std::string log = finalLog();
    EXPECT_GT(occurrences(log, "Starting recording"), 50);
    EXPECT_EQ(occurrences(log, "Starting recording"), occurrences(log, "Stopping recording"));
    EXPECT_EQ(sound_.count(test::PaCall::StartStream), sound_.count(test::PaCall::CloseStream));

    loadModel();
    engine_.setToggleMode(false);
    engine_.setMaxDurationSeconds(60);
    engine_.start();
    dictate(0);
    EXPECT_TRUE(waitForDelivered(1));
}

} // namespace
} // namespace quillo

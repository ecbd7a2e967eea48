#include "engine/engine_fixture.h"

#include <atomic>
#include <new>
#include <random>
#include <utility>

namespace quillo {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST_F(EngineTest, ReleaseBeforeThePostedStartCancelsIt)
{
    loadModel();
    engine_.start();
    for (int i = 0; i < 20; ++i)
        tapHotkey();
    QCoreApplication::processEvents();
    EXPECT_EQ(sound_.count(PaCall::OpenStream), 0);
    dictate(0);
    ASSERT_TRUE(waitForDelivered(1));
    EXPECT_EQ(occurrences(finalLog(), "Starting recording"), 1);
}

TEST_F(EngineTest, ToggleModeRecordsFromPressToPress)
{
    loadModel();
    engine_.setToggleMode(true);
    engine_.start();
    tapHotkey();
    ASSERT_TRUE(waitForMicrophone(true));
    sound_.push(spoken(0));
    tapHotkey();
    ASSERT_TRUE(waitForDelivered(1));

    // Two presses before the user-interface thread gets to the first: on and off again.
    tapHotkey();
    tapHotkey();
    QCoreApplication::processEvents();
    EXPECT_EQ(sound_.count(PaCall::OpenStream), 1);

    engine_.setMaxDurationSeconds(1);
    for (const int opened : {2, 3}) { // the next press, and the one after the limit has closed its recording
        tapHotkey();
        EXPECT_TRUE(waitFor([&] { return sound_.count(PaCall::OpenStream) == opened; }));
        ASSERT_TRUE(waitForMicrophone(false));
    }
}

TEST_F(EngineTest, RecordingsMadeWhileEarlierOnesAreRecognisedArriveInOrderBeforeTheEnd)
{
    loadModel();
    engine_.start();
    for (std::size_t i = 0; i < sentences.size(); ++i) {
        ASSERT_TRUE(waitForMicrophone(false));
        dictate(i);
    }
    engine_.stop(); // the last recording may not even have been closed
    EXPECT_THAT(delivered(), ElementsAre(sentences[0], sentences[1], sentences[2])) << "trimmed, in order";
    EXPECT_EQ(system_.pastes(), delivered());
    const std::string log = finalLog();
    EXPECT_THAT(log, HasSubstr("[Quillo] Hotkey registered: Ctrl+Shift+Space (push-to-talk: yes)\n"));
    EXPECT_THAT(log, HasSubstr("[Quillo] Captured " + std::to_string(spoken(0).size()) + " samples ("));
}

/// The hotkey has no modifiers, whose release a system waits for.
class HeldKeyTest : public EngineTest {
protected:
    explicit HeldKeyTest(std::chrono::milliseconds longestHold = 24h)
        : EngineTest(longestHold)
    {
        hotkey_ = {vk::f1 + 8};
        engine_.setHotkey("F9");
    }

    bool isHeldBack(std::size_t sentence)
    {
        const auto pastes = system_.pastes();
        EXPECT_TRUE(waitFor([&] { return system_.clipboard() == sentences[sentence]; }));
        std::this_thread::sleep_for(200ms); // a shortcut that does not wait would have been sent
        return system_.pastes() == pastes;
    }
};

struct StuckKeyTest : HeldKeyTest {
    StuckKeyTest()
        : HeldKeyTest(50ms)
    {
    }
};

// The shortcut's keys would mix with the hotkey, and its key-up would end the recording that the hotkey holds open.
TEST_F(HeldKeyTest, PasteWaitsForTheHotkeyUntilTheVeryLastMoment)
{
    loadModel();
    engine_.setMaxDurationSeconds(1);
    engine_.start();
    hold(spoken(0));
    EXPECT_TRUE(isHeldBack(0)) << "beyond the limit";
    EXPECT_THAT(delivered(), ElementsAre(sentences[0])) << "in the history, whatever becomes of the paste";
    releaseHotkey();
    ASSERT_TRUE(waitForDelivered(1));

    hold(spoken(1));
    engine_.finishRecording(); // does not wait until somebody lets go
    EXPECT_EQ(system_.pastes().size(), 1U);
    EXPECT_EQ(system_.clipboard(), sentences[1]);
    releaseHotkey();

    hold(spoken(2));
    engine_.stop(); // after which nothing would be pasted
    EXPECT_EQ(system_.pastes().size(), 2U);
}

TEST_F(StuckKeyTest, PasteWaitsNoLongerThanTheKeyHoldsARecordingOpen)
{
    loadModel();
    engine_.start();
    dictate(0);
    hold(spoken(1));
    EXPECT_TRUE(isHeldBack(0));
    releaseHotkey();
    ASSERT_TRUE(waitForDelivered(2));

    engine_.setMaxDurationSeconds(1);
    dictate(2);
    hold(spoken(0));
    EXPECT_TRUE(waitFor([&] { return delivered().size() == 4; })) << "the text before it has been given up";
    EXPECT_EQ(system_.pastes().size(), 2U);
}

TEST_F(EngineTest, LimitClosesARecordingThatIsHeldOpen)
{
    loadModel();
    engine_.start();
    for (const int unusable : {0, -1}) {
        engine_.setMaxDurationSeconds(unusable);
        hold(silence);
        std::this_thread::sleep_for(600ms); // a watchdog that took the limit as it stands would have closed by now
        EXPECT_EQ(sound_.runningStreams(), 1U);
        releaseHotkey();
        ASSERT_TRUE(waitForMicrophone(false));
    }
    engine_.setMaxDurationSeconds(1);
    const auto pressed = std::chrono::steady_clock::now();
    hold(spoken(0));
    ASSERT_TRUE(waitForMicrophone(false));
    EXPECT_GE(std::chrono::steady_clock::now() - pressed, 1s);
    releaseHotkey(); // finds nothing to close
    dictate(1);
    ASSERT_TRUE(waitForDelivered(2));
    EXPECT_EQ(occurrences(finalLog(), "Stopping recording"), 4);
}

TEST_F(EngineTest, AnExceptionCostsOneDictationOnly)
{
    loadModel();
    engine_.setOnTranscription([this, first = true](const std::string& text) mutable {
        if (std::exchange(first, false))
            throw std::bad_alloc();
        const std::lock_guard lock(mutex_);
        delivered_.push_back(text);
    });
    engine_.start();
    dictate(0);
    dictate(1);
    ASSERT_TRUE(waitForDelivered(1));
    EXPECT_THAT(delivered(), ElementsAre(sentences[1]));
    EXPECT_THAT(finalLog(), HasSubstr("[Quillo] ERROR: Dictation failed: std::bad_alloc\n"));
}

TEST_F(EngineTest, StopCancelsAStartThatWaits)
{
    engine_.start();
    pressHotkey();
    engine_.stop();
    QCoreApplication::processEvents();
    EXPECT_EQ(sound_.count(PaCall::OpenStream), 0);
    releaseHotkey();

    engine_.start();
    hold(silence);
    releaseHotkey();
    pressHotkey(); // while the recording is open to the user interface
    engine_.stop();
    QCoreApplication::processEvents();
    EXPECT_EQ(sound_.count(PaCall::OpenStream), 1);
}

TEST_F(EngineTest, NothingIsDeliveredWithoutSamplesOrModel)
{
    engine_.start();
    dictate(0); // no model
    engine_.finishRecording();

    loadModel();
    sound_.fail(PaCall::OpenStream);
    pressHotkey(); // no microphone: an open recording that hears nothing
    ASSERT_TRUE(waitFor([&] { return sound_.count(PaCall::OpenStream) == 3; })); // it is tried twice
    releaseHotkey();
    sound_.fail(PaCall::OpenStream, paNoError);
    hold(silence);
    releaseHotkey();
    const std::string log = finalLog();
    EXPECT_EQ(occurrences(log, "Stopping recording"), 3);
    EXPECT_THAT(log, HasSubstr("[Quillo] Captured 0 samples (0.0 seconds)\n"));
    EXPECT_EQ(occurrences(log, "Trying local transcription"), 1);
    EXPECT_THAT(system_.pastes(), IsEmpty());
    EXPECT_THAT(delivered(), IsEmpty());
}

TEST_F(EngineTest, SoundServerThatHangsHoldsNobodyUp)
{
    loadModel();
    engine_.start();
    hold(spoken(0));
    sound_.hang(PaCall::StopStream);
    releaseHotkey();
    ASSERT_TRUE(waitForDelivered(1));
    pressHotkey();
    QCoreApplication::processEvents(); // the user interface goes on: a recording that hears nothing
    releaseHotkey();
    EXPECT_EQ(occurrences(finalLog(), "[Quillo] Captured 0 samples (0.0 seconds)\n"), 1);

    sound_.resume();
    ASSERT_TRUE(waitFor([&] { return !AudioCapture::libraryInUse(); }));
    engine_.start();
    dictate(1);
    ASSERT_TRUE(waitForDelivered(2));
    EXPECT_THAT(delivered(), ElementsAre(sentences[0], sentences[1]));
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
    hold(spoken(0));
    engine_.setHotkey("Alt+X");
    engine_.setToggleMode(true);
    engine_.restartHotkey();
    EXPECT_EQ(system_.hooksRunning(), 1);
    releaseHotkey(); // no longer the hotkey
    EXPECT_EQ(sound_.runningStreams(), 1U);

    system_.press({vk::leftMenu, 'X'}); // ends the press that is open
    system_.release({'X', vk::leftMenu});
    ASSERT_TRUE(waitForDelivered(1));
    EXPECT_THAT(delivered(), ElementsAre(sentences[0]));
}

TEST_F(EngineTest, RestartKeepsAToggledStartThatWaitsAndNoOther)
{
    for (const bool toggle : {false, true}) {
        engine_.setToggleMode(toggle);
        engine_.restartHotkey();
        pressHotkey();
        engine_.setToggleMode(false);
        engine_.restartHotkey();
        releaseHotkey(); // unheard
        QCoreApplication::processEvents();
        EXPECT_TRUE(waitForMicrophone(toggle));
    }
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

// Keys, samples and the limit at random moments: every recording that opens is closed exactly once.
TEST_F(EngineTest, SurvivesAStormOfKeys)
{
    engine_.setMaxDurationSeconds(1);
    for (const bool toggle : {false, true}) {
        engine_.setToggleMode(toggle);
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
    const std::string log = finalLog();
    EXPECT_GT(occurrences(log, "Starting recording"), 0);
    EXPECT_EQ(occurrences(log, "Starting recording"), occurrences(log, "Stopping recording"));
    EXPECT_TRUE(waitFor([&] { return sound_.count(PaCall::OpenStream) == sound_.count(PaCall::CloseStream); }));
}

} // namespace
} // namespace quillo

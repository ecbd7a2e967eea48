#pragma once

#include "audio/audio_capture.h"
#include "base/log.h"
#include "engine/engine.h"
#include "stand_ins/fake_platform.h"
#include "stand_ins/fake_portaudio.h"
#include "support/speech.h"
#include "transcribe/whisper_transcriber.h"

#include <QCoreApplication>

#include <gmock/gmock.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace quillo::test {

using namespace std::chrono_literals;
namespace vk = platform::vk;

inline const std::vector<float> silence(16000); // in which the model hears nothing

// What the small test model recognises without fail.
inline constexpr std::array sentences{"hello world", "one two three four five", "good morning team"};

inline const std::vector<float>& spoken(std::size_t sentence)
{
    static std::array<std::vector<float>, sentences.size()> recordings;
    if (recordings[sentence].empty())
        recordings[sentence] = speak(sentences[sentence]);
    return recordings[sentence];
}

inline int occurrences(const std::string& text, const std::string& part)
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
    explicit EngineTest(std::chrono::milliseconds longestHold = 1min)
        : engine_(longestHold)
    {
    }

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
        EXPECT_TRUE(waitFor([&] { return sound_.openStreams() == 0; })) << "the microphone was left open";
    }

    void loadModel() { ASSERT_TRUE(transcriber_.loadModel(QUILLO_TEST_DATA_DIR "/ggml-mini.bin")); }

    template<typename Condition> bool waitFor(Condition condition)
    {
        const auto deadline = std::chrono::steady_clock::now() + 20s;
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
        return waitFor([&] { return !AudioCapture::libraryInUse() && sound_.runningStreams() == (running ? 1U : 0U); });
    }

    bool waitForDelivered(std::size_t count)
    {
        return waitFor([&] { return delivered().size() == count && system_.pastes().size() == count; });
    }

    void pressHotkey()
    {
        for (const auto key : hotkey_)
            system_.press(key);
    }

    void releaseHotkey()
    {
        for (auto key = hotkey_.rbegin(); key != hotkey_.rend(); ++key)
            system_.release(*key);
    }

    void tapHotkey()
    {
        pressHotkey();
        releaseHotkey();
    }

    void hold(const std::vector<float>& samples)
    {
        pressHotkey();
        ASSERT_TRUE(waitForMicrophone(true));
        sound_.push(samples);
    }

    void dictate(std::size_t sentence)
    {
        hold(spoken(sentence));
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

    FakePortAudio& sound_ = FakePortAudio::instance();
    FakePlatform& system_ = FakePlatform::instance();
    std::vector<std::uint32_t> hotkey_{vk::leftControl, vk::leftShift, vk::space};
    mutable std::mutex mutex_;
    std::vector<std::string> delivered_;
    std::unique_ptr<AudioCapture> capture_;
    WhisperTranscriber transcriber_;
    Engine engine_;
};

} // namespace quillo::test

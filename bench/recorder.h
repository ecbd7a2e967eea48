#pragma once

#include "audio/audio_capture.h"
#include "engine/engine.h"
#include "stand_ins/fake_platform.h"
#include "stand_ins/fake_portaudio.h"
#include "ui/overlay/overlay_controller.h"

#include <QApplication>
#include <QMetaObject>

#include <chrono>
#include <cstddef>
#include <functional>
#include <thread>
#include <utility>

namespace quillo::bench {

/// Runs the function there and waits for it; from another thread.
template<typename Function> void onUserInterfaceThread(Function function)
{
    QMetaObject::invokeMethod(qApp, std::move(function), Qt::BlockingQueuedConnection);
}

/// Runs the work on a thread of its own while this one, the user interface's, handles events.
inline void besideEventLoop(const std::function<void()>& work)
{
    std::thread worker([&work] {
        work();
        onUserInterfaceThread([] { QApplication::quit(); });
    });
    QApplication::exec();
    worker.join();
}

/// The part of the program that records, ready for the hotkey, with sound card and keyboard replaced by
/// stand-ins. Made and destroyed on the user-interface thread; the hotkey is pressed and released on another.
class Recorder {
public:
    AudioCapture capture;
    OverlayController overlay;
    Engine engine;

    Recorder()
    {
        engine.setAudioCapture(&capture);
        engine.setOverlay(&overlay);
        engine.start();
    }
    ~Recorder()
    {
        engine.stop();
        engine.setOverlay(nullptr); // its last words may still be posted
    }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    /// Returns once the recording stream runs.
    static void press()
    {
        using namespace platform::vk;
        test::FakePlatform::instance().press({leftControl, leftShift, space});
        waitForStreams(1);
    }

    /// Returns once the recording stream is closed.
    static void release()
    {
        using namespace platform::vk;
        test::FakePlatform::instance().release({space, leftShift, leftControl});
        waitForStreams(0);
    }

private:
    static void waitForStreams(std::size_t count)
    {
        while (test::FakePortAudio::instance().runningStreams() != count)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
};

} // namespace quillo::bench

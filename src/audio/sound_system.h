#pragma once

#include "audio/device_list.h"
#include "base/serial_worker.h"

#include <portaudio.h>

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>

namespace quillo {

/// PortAudio, the devices that it knows, and the one thread that calls it: the library is not made for several, and a
/// sound server that hangs keeps hold of its caller, whereas whoever waits for this thread can give up.
///
/// PortAudio reads its list of devices, and which is the default, when it is initialised and never again. So it is
/// initialised anew when they have changed or a device cannot be opened, which ends all streams: only while none is
/// open.
class SoundSystem {
public:
    /// How long to wait for it before giving up. Its calls take 10 to 200 ms.
    static constexpr std::chrono::seconds patience{3};

    static SoundSystem& instance(); ///< never destroyed: a call that hangs may outlast main()

    // Any thread.

    /// Runs the action on PortAudio's thread, which may be long after its sender has stopped waiting.
    std::future<void> post(std::function<void()> action) { return thread_.post(std::move(action)); }

    /// Whether anything is left to be done.
    bool isBusy() const { return thread_.isBusy(); }

    std::shared_ptr<const DeviceList> devices() const; ///< as PortAudio knows them now; not null
    std::shared_ptr<const DeviceList> firstDevices() const; ///< of the first list that was not empty; not null

    // PortAudio's thread. All but the first need a user.

    void addUser(); ///< the first one initialises PortAudio
    void removeUser(); ///< the last one to go terminates it
    bool initialiseAnew(); ///< false, and nothing done, while a stream is open

    /// Opens and starts an input stream in Quillo's format; null when the device is missing or refuses, or as soon as
    /// the stream is not wanted any more.
    PaStream* open(
        const ChosenDevice& device, PaStreamCallback* callback, void* userData, const std::function<bool()>& isWanted);
    void close(PaStream* stream); ///< waits for a running callback

private:
    SoundSystem() = default;

    void initialise();
    void setDevices(DeviceList devices);
    PaDeviceIndex find(const ChosenDevice& device) const;
    PaStream* tryToOpen(const ChosenDevice& device, PaStreamCallback* callback, void* userData,
        const std::function<bool()>& isWanted) const;

    int users_ = 0;
    int openStreams_ = 0;
    std::string systemDevices_; // as the system told them before PortAudio read them

    mutable std::mutex mutex_; // guards what follows, which only PortAudio's thread changes
    std::shared_ptr<const DeviceList> devices_ = std::make_shared<DeviceList>();
    std::shared_ptr<const DeviceList> firstDevices_ = devices_;

    SerialWorker thread_; // last: it uses the others
};

} // namespace quillo

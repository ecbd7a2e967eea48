#include "stand_ins/fake_portaudio.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace quillo::test {
namespace {

struct Stream {
    unsigned long framesPerBuffer = 0;
    PaStreamCallback* callback = nullptr;
    void* userData = nullptr;

    std::mutex mutex; // held during the callback, so that stopping waits for it
    bool running = false;

    bool deliver(const float* samples, unsigned long frames)
    {
        const std::lock_guard lock(mutex);
        if (!running)
            return false;
        const PaStreamCallbackTimeInfo time{};
        running = callback(samples, nullptr, frames, &time, 0, userData) == paContinue;
        return true;
    }
};

std::mutex mutex; // guards what follows; not held while a stream's mutex is taken or a callback runs
int initialised = 0;
struct Devices {
    std::vector<FakeDevice> list;
    PaDeviceIndex defaultInput = paNoDevice;
} plugged, known; // those that were plugged when the library was initialised
std::vector<PaDeviceInfo> infos;
std::map<PaCall, PaError> failures;
std::map<PaCall, int> counts;
std::optional<PaCall> hangingCall;
std::condition_variable resumed;
FakeOpenRequest lastRequest;
std::vector<std::shared_ptr<Stream>> openedStreams;

/// The real library is made for one thread, and terminating it takes the streams away from whoever has them open.
void demand(bool kept, const char* rule)
{
    if (kept)
        return;
    std::fputs(rule, stderr);
    std::abort();
}

void demandOneThread()
{
    static const std::thread::id caller = std::this_thread::get_id();
    demand(caller == std::this_thread::get_id(), "PortAudio is called on several threads\n");
}

std::vector<std::shared_ptr<Stream>> allStreams()
{
    const std::lock_guard lock(mutex);
    return openedStreams;
}

/// Counts a call, lets it hang, and says how it ends; the lock on the mutex is held.
PaError enter(PaCall call, std::unique_lock<std::mutex>& lock)
{
    demandOneThread();
    ++counts[call];
    demand(resumed.wait_for(lock, std::chrono::minutes(1), [call] { return hangingCall != call; }),
        "A call of PortAudio was left hanging\n");
    if (failures[call] != paNoError)
        return failures[call];
    return call == PaCall::Initialize || initialised > 0 ? paNoError : paNotInitialized;
}

PaError setRunning(PaCall call, PaStream* handle, bool running)
{
    std::shared_ptr<Stream> stream;
    {
        std::unique_lock lock(mutex);
        if (const PaError error = enter(call, lock); error != paNoError)
            return error;
        for (const auto& candidate : openedStreams)
            if (candidate.get() == handle)
                stream = candidate;
    }
    if (!stream)
        return paBadStreamPtr;
    const std::lock_guard lock(stream->mutex);
    stream->running = running;
    return paNoError;
}

} // namespace

FakePortAudio& FakePortAudio::instance()
{
    static FakePortAudio fake;
    return fake;
}

void FakePortAudio::reset()
{
    setDevices({FakeDevice{}}, 0);
    resume();
    const std::lock_guard lock(mutex);
    failures.clear();
    counts.clear();
    lastRequest = {};
}

void FakePortAudio::setDevices(std::vector<FakeDevice> devices, PaDeviceIndex defaultInput)
{
    const std::lock_guard lock(mutex);
    plugged = {std::move(devices), defaultInput};
}

void FakePortAudio::fail(PaCall call, PaError error)
{
    const std::lock_guard lock(mutex);
    failures[call] = error;
}

void FakePortAudio::hang(PaCall call)
{
    const std::lock_guard lock(mutex);
    hangingCall = call;
}

void FakePortAudio::resume()
{
    const std::lock_guard lock(mutex);
    hangingCall.reset();
    resumed.notify_all();
}

int FakePortAudio::count(PaCall call) const
{
    const std::lock_guard lock(mutex);
    return counts[call];
}

std::size_t FakePortAudio::openStreams() const
{
    return allStreams().size();
}

std::size_t FakePortAudio::runningStreams() const
{
    std::size_t running = 0;
    for (const auto& stream : allStreams()) {
        const std::lock_guard lock(stream->mutex);
        running += stream->running ? 1 : 0;
    }
    return running;
}

FakeOpenRequest FakePortAudio::lastOpenRequest() const
{
    const std::lock_guard lock(mutex);
    return lastRequest;
}

std::size_t FakePortAudio::push(std::span<const float> samples)
{
    std::size_t reached = 0;
    for (const auto& stream : allStreams()) {
        bool heard = true;
        for (std::size_t start = 0; heard && start < samples.size(); start += stream->framesPerBuffer) {
            const auto frames = std::min<std::size_t>(stream->framesPerBuffer, samples.size() - start);
            heard = stream->deliver(samples.data() + start, static_cast<unsigned long>(frames));
        }
        reached += heard ? 1 : 0;
    }
    return reached;
}

void FakePortAudio::pushNull()
{
    for (const auto& stream : allStreams())
        stream->deliver(nullptr, 512);
}

} // namespace quillo::test

using namespace quillo::test;

extern "C" {

PaError Pa_Initialize(void)
{
    std::unique_lock lock(mutex);
    const PaError error = enter(PaCall::Initialize, lock);
    if (error != paNoError || initialised++ > 0)
        return error;
    known = plugged;
    infos.clear();
    for (const FakeDevice& device : known.list) {
        PaDeviceInfo& info = infos.emplace_back();
        info.name = device.name ? device.name->c_str() : nullptr;
        info.maxInputChannels = device.inputChannels;
        info.defaultLowInputLatency = device.lowInputLatency;
    }
    return paNoError;
}

PaError Pa_Terminate(void)
{
    std::unique_lock lock(mutex);
    const PaError error = enter(PaCall::Terminate, lock);
    if (error == paNoError && --initialised == 0)
        demand(openedStreams.empty(), "PortAudio is terminated while a stream is open\n");
    return error;
}

const char* Pa_GetErrorText(PaError errorCode)
{
    return errorCode == paNoError ? "Success" : "Fake failure";
}

PaDeviceIndex Pa_GetDeviceCount(void)
{
    const std::lock_guard lock(mutex);
    demandOneThread();
    return initialised > 0 ? static_cast<PaDeviceIndex>(known.list.size()) : paNotInitialized;
}

PaDeviceIndex Pa_GetDefaultInputDevice(void)
{
    const std::lock_guard lock(mutex);
    demandOneThread();
    return initialised > 0 ? known.defaultInput : paNoDevice;
}

const PaDeviceInfo* Pa_GetDeviceInfo(PaDeviceIndex device)
{
    const std::lock_guard lock(mutex);
    demandOneThread();
    const auto index = static_cast<std::size_t>(device);
    const bool hasInfo = initialised > 0 && device >= 0 && index < known.list.size() && known.list[index].hasInfo;
    return hasInfo ? &infos[index] : nullptr;
}

PaError Pa_OpenStream(PaStream** stream, const PaStreamParameters* inputParameters,
    const PaStreamParameters* outputParameters, double sampleRate, unsigned long framesPerBuffer,
    PaStreamFlags streamFlags, PaStreamCallback* streamCallback, void* userData)
{
    std::unique_lock lock(mutex);
    lastRequest = {inputParameters ? *inputParameters : PaStreamParameters{}, outputParameters != nullptr, sampleRate,
        framesPerBuffer, streamFlags};
    if (const PaError error = enter(PaCall::OpenStream, lock); error != paNoError)
        return error;
    openedStreams.push_back(std::make_shared<Stream>());
    openedStreams.back()->framesPerBuffer = framesPerBuffer;
    openedStreams.back()->callback = streamCallback;
    openedStreams.back()->userData = userData;
    *stream = openedStreams.back().get();
    return paNoError;
}

PaError Pa_StartStream(PaStream* stream)
{
    return setRunning(PaCall::StartStream, stream, true);
}

PaError Pa_StopStream(PaStream* stream)
{
    return setRunning(PaCall::StopStream, stream, false);
}

PaError Pa_CloseStream(PaStream* stream)
{
    const PaError error = setRunning(PaCall::CloseStream, stream, false); // waits for a callback, as the real one does
    const std::lock_guard lock(mutex);
    if (error == paNoError)
        std::erase_if(openedStreams, [stream](const auto& candidate) { return candidate.get() == stream; });
    return error;
}

} // extern "C"

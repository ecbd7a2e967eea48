#include "audio/input_stream.h"

#include <mutex>
#include <utility>

namespace quillo {

namespace {

constexpr double sampleRate = 16000.0;
constexpr unsigned long framesPerBlock = 512;

std::mutex streamListMutex; // PortAudio's list of open streams has no lock of its own

void closeStream(PaStream* stream)
{
    const std::lock_guard lock(streamListMutex);
    Pa_CloseStream(stream);
}

} // namespace

InputStream::~InputStream()
{
    close();
}

bool InputStream::open(PaDeviceIndex device, BlockCallback onBlock)
{
    onBlock_ = std::move(onBlock);
    if (start(device))
        return true;
    onBlock_ = nullptr;
    return false;
}

bool InputStream::start(PaDeviceIndex device)
{
    const PaDeviceInfo* info = device == paNoDevice ? nullptr : Pa_GetDeviceInfo(device);
    if (!info || info->maxInputChannels < 1)
        return false;

    PaStreamParameters input{};
    input.device = device;
    input.channelCount = 1;
    input.sampleFormat = paFloat32;
    input.suggestedLatency = info->defaultLowInputLatency;
    std::unique_lock lock(streamListMutex);
    if (Pa_OpenStream(&stream_, &input, nullptr, sampleRate, framesPerBlock, paClipOff, &receive, this) != paNoError) {
        stream_ = nullptr;
        return false;
    }
    lock.unlock();
    if (Pa_StartStream(stream_) != paNoError) {
        closeStream(std::exchange(stream_, nullptr));
        return false;
    }
    return true;
}

void InputStream::close()
{
    if (!stream_)
        return;
    // A device that has died makes the stop fail; closing ends such a stream all the same.
    Pa_StopStream(stream_);
    closeStream(std::exchange(stream_, nullptr));
    onBlock_ = nullptr;
}

int InputStream::receive(const void* input, void* /*output*/, unsigned long frames,
    const PaStreamCallbackTimeInfo* /*time*/, PaStreamCallbackFlags /*flags*/, void* self)
{
    try {
        if (input)
            static_cast<InputStream*>(self)->onBlock_(static_cast<const float*>(input), frames);
    } catch (...) {
        // Must not unwind into PortAudio. A block that memory cannot hold is lost; the recording goes on.
    }
    return paContinue;
}

} // namespace quillo

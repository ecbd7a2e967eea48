#include "audio/input_stream.h"

#include "audio/portaudio_thread.h"

#include <portaudio.h>

#include <chrono>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace quillo {

namespace {

using namespace std::chrono_literals;

constexpr auto openingPatience = 3s; // a wireless device must wake up first
constexpr auto closingPatience = 1s; // takes as long as a block
constexpr double sampleRate = 16000.0;
constexpr unsigned long framesPerBlock = 512;

PaDeviceIndex resolveDevice(const std::string& id)
{
    if (id.empty())
        return Pa_GetDefaultInputDevice();
    try {
        return std::stoi(id);
    } catch (const std::logic_error&) { // not a number, or one that does not fit
        return Pa_GetDefaultInputDevice();
    }
}

} // namespace

/// The stream itself, which lives until PortAudio has closed it, and the callback, which may have to go before.
class InputStream::Line {
public:
    explicit Line(BlockCallback onBlock)
        : onBlock_(std::move(onBlock))
    {
    }

    // PortAudio's thread.
    void open(const std::string& deviceId);
    void close();

    /// After open() only.
    bool isOpen() const { return stream_; }

    /// The callback is released; it does not run any more when this returns. Any thread.
    void silence();

private:
    bool isSilent();
    void hear(const float* samples, std::size_t count);
    static int receive(const void* input, void* output, unsigned long frames, const PaStreamCallbackTimeInfo* time,
        PaStreamCallbackFlags flags, void* self);

    PaStream* stream_ = nullptr;
    std::mutex mutex_; // guards onBlock_, and is held while it runs
    BlockCallback onBlock_;
};

void InputStream::Line::open(const std::string& deviceId)
{
    if (isSilent())
        return; // its owner has given up before this had its turn
    const PaDeviceIndex device = resolveDevice(deviceId);
    const PaDeviceInfo* info = device == paNoDevice ? nullptr : Pa_GetDeviceInfo(device);
    if (!info || info->maxInputChannels < 1)
        return;

    PaStreamParameters input{};
    input.device = device;
    input.channelCount = 1;
    input.sampleFormat = paFloat32;
    input.suggestedLatency = info->defaultLowInputLatency;
    if (Pa_OpenStream(&stream_, &input, nullptr, sampleRate, framesPerBlock, paClipOff, &receive, this) != paNoError)
        stream_ = nullptr;
    else if (Pa_StartStream(stream_) != paNoError)
        Pa_CloseStream(std::exchange(stream_, nullptr));
}

void InputStream::Line::close()
{
    if (!stream_)
        return;
    // A device that has died makes the stop fail; closing ends such a stream all the same.
    Pa_StopStream(stream_);
    Pa_CloseStream(std::exchange(stream_, nullptr));
}

void InputStream::Line::silence()
{
    BlockCallback released; // without the lock
    const std::lock_guard lock(mutex_);
    released.swap(onBlock_);
}

bool InputStream::Line::isSilent()
{
    const std::lock_guard lock(mutex_);
    return !onBlock_;
}

void InputStream::Line::hear(const float* samples, std::size_t count)
{
    const std::lock_guard lock(mutex_);
    if (onBlock_)
        onBlock_(samples, count);
}

int InputStream::Line::receive(const void* input, void* /*output*/, unsigned long frames,
    const PaStreamCallbackTimeInfo* /*time*/, PaStreamCallbackFlags /*flags*/, void* self)
{
    try {
        if (input)
            static_cast<Line*>(self)->hear(static_cast<const float*>(input), frames);
    } catch (...) {
        // Must not unwind into PortAudio. A block that memory cannot hold is lost; the recording goes on.
    }
    return paContinue;
}

InputStream::~InputStream()
{
    close();
}

bool InputStream::open(std::string deviceId, BlockCallback onBlock)
{
    line_ = std::make_shared<Line>(std::move(onBlock));
    const bool answered =
        PortAudioThread::run([line = line_, id = std::move(deviceId)] { line->open(id); }, openingPatience);
    if (answered && line_->isOpen())
        return true;
    close();
    return false;
}

void InputStream::close()
{
    if (!line_)
        return;
    PortAudioThread::run([line = line_] { line->close(); }, closingPatience);
    std::exchange(line_, nullptr)->silence();
}

} // namespace quillo

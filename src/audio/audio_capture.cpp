#include "audio/audio_capture.h"

#include "audio/capture_context.h"
#include "audio/input_stream.h"
#include "audio/level.h"
#include "audio/portaudio_thread.h"

#include <portaudio.h>

#include <algorithm>
#include <optional>

namespace quillo {

struct AudioCapture::Impl {
    std::optional<PortAudioLibrary> library; // first, so that it outlives the streams
    std::string deviceId;
    float sensitivity = 0.5F;
    std::unique_ptr<CaptureContext> captureContext;
    InputStream captureStream; // after what its callback uses
    InputStream testStream;
};

AudioCapture::AudioCapture()
    : impl_(std::make_unique<Impl>())
{
}

AudioCapture::~AudioCapture()
{
    stopTest();
    stopCapture();
}

void AudioCapture::initialise()
{
    if (!impl_->library)
        impl_->library.emplace();
}

std::vector<std::pair<std::string, std::string>> AudioCapture::listInputDevices()
{
    initialise();
    std::vector<std::pair<std::string, std::string>> devices;
    if (!impl_->library->isReady())
        return devices;
    const PaDeviceIndex count = Pa_GetDeviceCount(); // an error is negative
    for (PaDeviceIndex index = 0; index < count; ++index) {
        const PaDeviceInfo* info = Pa_GetDeviceInfo(index);
        if (info && info->maxInputChannels > 0)
            devices.emplace_back(std::to_string(index), info->name ? info->name : "Unknown Device");
    }
    return devices;
}

void AudioCapture::setDeviceId(const std::string& id)
{
    impl_->deviceId = id;
}

void AudioCapture::setVadSensitivity(float value)
{
    impl_->sensitivity = std::clamp(value, 0.0F, 1.0F);
}

bool AudioCapture::startCapture(SamplesCallback onAudio, SamplesCallback onSegment)
{
    stopCapture();
    initialise();
    auto context = std::make_unique<CaptureContext>(
        CaptureContext::thresholdFor(impl_->sensitivity), std::move(onAudio), std::move(onSegment));
    const auto onBlock = [receiver = context.get()](
                             const float* samples, std::size_t count) { receiver->process(samples, count); };
    if (!impl_->captureStream.open(impl_->deviceId, onBlock))
        return false;
    impl_->captureContext = std::move(context);
    return true;
}

void AudioCapture::stopCapture()
{
    impl_->captureStream.close();
    if (const auto context = std::move(impl_->captureContext))
        context->flush();
}

bool AudioCapture::startTest(const std::string& deviceId, LevelCallback onLevel)
{
    stopTest();
    initialise();
    auto onBlock = [onLevel = std::move(onLevel)](const float* samples, std::size_t count) {
        if (onLevel)
            onLevel(blockLevel(samples, count));
    };
    return impl_->testStream.open(deviceId, std::move(onBlock));
}

void AudioCapture::stopTest()
{
    impl_->testStream.close();
}

bool AudioCapture::libraryInUse()
{
    return PortAudioThread::inUse();
}

} // namespace quillo

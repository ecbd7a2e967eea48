#include "audio/audio_capture.h"

#include "audio/capture_context.h"
#include "audio/input_stream.h"
#include "audio/level.h"
#include "audio/sound_system.h"

#include <algorithm>

namespace quillo {

namespace {

SoundSystem& sound()
{
    return SoundSystem::instance();
}

} // namespace

struct AudioCapture::Impl {
    std::future<void> initialised; // not valid before initialise()
    std::shared_ptr<const DeviceList> listed; // the last list given out; null before that
    ChosenDevice device;
    float sensitivity = 0.5F;
    std::weak_ptr<CaptureContext> captureContext; // lives as long as the stream delivers
    InputStream captureStream;
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
    if (impl_->initialised.valid())
        sound().post([] { sound().removeUser(); }).wait_for(SoundSystem::patience);
}

void AudioCapture::initialise()
{
    if (!impl_->initialised.valid())
        impl_->initialised = sound().post([] { sound().addUser(); });
}

std::vector<std::pair<std::string, std::string>> AudioCapture::listInputDevices()
{
    initialise();
    impl_->initialised.wait_for(SoundSystem::patience);
    impl_->listed = sound().devices();
    return *impl_->listed;
}

bool AudioCapture::refreshDevices()
{
    initialise();
    const auto renewed = std::make_shared<bool>(false);
    const auto done = sound().post([renewed] { *renewed = sound().initialiseAnew(); });
    return done.wait_for(SoundSystem::patience) == std::future_status::ready && *renewed;
}

void AudioCapture::setDeviceId(const std::string& id)
{
    impl_->device = {id, impl_->listed};
}

std::string AudioCapture::listedId(const std::string& id) const
{
    const ChosenDevice& device = impl_->device;
    if (id != device.id || !impl_->listed)
        return id;
    return renumbered(id, device.list ? *device.list : *sound().firstDevices(), *impl_->listed).value_or("");
}

void AudioCapture::setVadSensitivity(float value)
{
    impl_->sensitivity = std::clamp(value, 0.0F, 1.0F);
}

std::future<bool> AudioCapture::startCapture(SamplesCallback onAudio, SamplesCallback onSegment)
{
    stopCapture();
    initialise();
    const auto context = std::make_shared<CaptureContext>(
        CaptureContext::thresholdFor(impl_->sensitivity), std::move(onAudio), std::move(onSegment));
    impl_->captureContext = context;
    return impl_->captureStream.open(
        impl_->device, [context](const float* samples, std::size_t count) { context->process(samples, count); });
}

void AudioCapture::stopCapture()
{
    const auto context = impl_->captureContext.lock();
    impl_->captureStream.close();
    if (context)
        context->flush();
}

bool AudioCapture::startTest(const std::string& deviceId, LevelCallback onLevel)
{
    initialise();
    auto opened = impl_->testStream.open(
        {deviceId, impl_->listed}, [onLevel = std::move(onLevel)](const float* samples, std::size_t count) {
            if (onLevel)
                onLevel(blockLevel(samples, count));
        });
    if (opened.wait_for(SoundSystem::patience) == std::future_status::ready && opened.get())
        return true;
    stopTest();
    return false;
}

void AudioCapture::stopTest()
{
    impl_->testStream.close();
}

bool AudioCapture::libraryInUse()
{
    return sound().isBusy();
}

} // namespace quillo

#include "audio/sound_system.h"

#include "base/log.h"
#include "base/sample_format.h"
#include "platform/sound_devices.h"

#include <stdexcept>
#include <utility>

namespace quillo {

namespace {

void writeMessage(const char* line)
{
    logMessage("[Quillo] %s\n", line);
}

DeviceList readDevices()
{
    DeviceList devices;
    const PaDeviceIndex count = Pa_GetDeviceCount(); // an error is negative
    for (PaDeviceIndex index = 0; index < count; ++index) {
        const PaDeviceInfo* info = Pa_GetDeviceInfo(index);
        if (info && info->maxInputChannels > 0)
            devices.emplace_back(std::to_string(index), info->name ? info->name : "Unknown Device");
    }
    return devices;
}

} // namespace

SoundSystem& SoundSystem::instance()
{
    static SoundSystem& sound = *new SoundSystem;
    return sound;
}

std::shared_ptr<const DeviceList> SoundSystem::devices() const
{
    const std::lock_guard lock(mutex_);
    return devices_;
}

std::shared_ptr<const DeviceList> SoundSystem::firstDevices() const
{
    const std::lock_guard lock(mutex_);
    return firstDevices_;
}

void SoundSystem::setDevices(DeviceList devices)
{
    const std::lock_guard lock(mutex_);
    devices_ = std::make_shared<DeviceList>(std::move(devices));
    if (firstDevices_->empty() || users_ == 0)
        firstDevices_ = devices_;
}

void SoundSystem::addUser()
{
    if (users_++ == 0)
        initialise();
}

void SoundSystem::removeUser()
{
    if (--users_ > 0)
        return;
    Pa_Terminate();
    setDevices({});
}

bool SoundSystem::initialiseAnew()
{
    if (openStreams_ > 0)
        return false;
    Pa_Terminate();
    initialise();
    return true;
}

void SoundSystem::initialise()
{
    platform::receiveSoundMessages(writeMessage);
    systemDevices_ = platform::soundDevices();
    if (const PaError error = Pa_Initialize(); error != paNoError)
        logMessage("[Quillo] PortAudio could not be initialised: %s\n", Pa_GetErrorText(error));
    setDevices(readDevices());
}

PaStream* SoundSystem::open(
    const ChosenDevice& device, PaStreamCallback* callback, void* userData, const std::function<bool()>& isWanted)
{
    if (!isWanted())
        return nullptr;
    if (systemDevices_ != platform::soundDevices())
        initialiseAnew();
    PaStream* stream = tryToOpen(device, callback, userData, isWanted);
    if (!stream && isWanted() && initialiseAnew())
        stream = tryToOpen(device, callback, userData, isWanted);
    if (stream)
        ++openStreams_;
    return stream;
}

void SoundSystem::close(PaStream* stream)
{
    // A device that has died makes the stop fail; closing ends such a stream all the same.
    Pa_StopStream(stream);
    Pa_CloseStream(stream);
    --openStreams_;
}

PaDeviceIndex SoundSystem::find(const ChosenDevice& device) const
{
    const auto id = renumbered(device.id, device.list ? *device.list : *firstDevices_, *devices_);
    if (!id)
        return paNoDevice;
    try {
        return std::stoi(*id);
    } catch (const std::logic_error&) { // not a number, or one that does not fit
        return Pa_GetDefaultInputDevice();
    }
}

PaStream* SoundSystem::tryToOpen(
    const ChosenDevice& device, PaStreamCallback* callback, void* userData, const std::function<bool()>& isWanted) const
{
    PaStreamParameters input{};
    input.device = find(device);
    const PaDeviceInfo* info = input.device == paNoDevice ? nullptr : Pa_GetDeviceInfo(input.device);
    if (!info || info->maxInputChannels < 1)
        return nullptr;
    input.channelCount = channelCount;
    input.sampleFormat = paFloat32;
    input.suggestedLatency = info->defaultLowInputLatency;
    PaStream* stream = nullptr;
    if (Pa_OpenStream(&stream, &input, nullptr, samplesPerSecond, samplesPerBlock, paClipOff, callback, userData)
        != paNoError)
        return nullptr;
    if (isWanted() && Pa_StartStream(stream) == paNoError)
        return stream;
    Pa_CloseStream(stream);
    return nullptr;
}

} // namespace quillo

// PortAudio's functions as far as Quillo calls them, each of which passes its call on to the library of the system,
// loaded at the first call. Linked in the usual way, it and the sound libraries that it brings are in the way of the
// icon at every start.
//
// The functions are hidden (see CMakeLists.txt): other libraries never get to see them. The library itself is there for
// all, and a library that is loaded before the program may come between, as the one that measures does.
#include "base/log.h"

#include <portaudio.h>

#include <dlfcn.h>

namespace {

/// Whether there is one. It stays loaded.
bool isLoaded()
{
    static const bool loaded = [] {
        const bool opened = dlopen("libportaudio.so.2", RTLD_NOW | RTLD_GLOBAL) != nullptr;
        if (!opened)
            quillo::logError("[Quillo] ERROR: no microphone: %s\n", dlerror());
        return opened;
    }();
    return loaded;
}

/// Null where there is no library. Any thread.
template<typename Function> Function* find(const char* name)
{
    return isLoaded() ? reinterpret_cast<Function*>(dlsym(RTLD_DEFAULT, name)) : nullptr;
}

} // namespace

#define PORTAUDIO(name) find<decltype(name)>(#name)

PaError Pa_Initialize()
{
    const auto real = PORTAUDIO(Pa_Initialize);
    return real ? real() : paNotInitialized;
}

PaError Pa_Terminate()
{
    const auto real = PORTAUDIO(Pa_Terminate);
    return real ? real() : paNotInitialized;
}

const char* Pa_GetErrorText(PaError error)
{
    const auto real = PORTAUDIO(Pa_GetErrorText);
    return real ? real(error) : "no PortAudio";
}

PaDeviceIndex Pa_GetDeviceCount()
{
    const auto real = PORTAUDIO(Pa_GetDeviceCount);
    return real ? real() : 0;
}

PaDeviceIndex Pa_GetDefaultInputDevice()
{
    const auto real = PORTAUDIO(Pa_GetDefaultInputDevice);
    return real ? real() : paNoDevice;
}

const PaDeviceInfo* Pa_GetDeviceInfo(PaDeviceIndex device)
{
    const auto real = PORTAUDIO(Pa_GetDeviceInfo);
    return real ? real(device) : nullptr;
}

PaError Pa_OpenStream(PaStream** stream, const PaStreamParameters* input, const PaStreamParameters* output, double rate,
    unsigned long frames, PaStreamFlags flags, PaStreamCallback* callback, void* user)
{
    const auto real = PORTAUDIO(Pa_OpenStream);
    return real ? real(stream, input, output, rate, frames, flags, callback, user) : paNotInitialized;
}

PaError Pa_StartStream(PaStream* stream)
{
    const auto real = PORTAUDIO(Pa_StartStream);
    return real ? real(stream) : paNotInitialized;
}

PaError Pa_StopStream(PaStream* stream)
{
    const auto real = PORTAUDIO(Pa_StopStream);
    return real ? real(stream) : paNotInitialized;
}

PaError Pa_CloseStream(PaStream* stream)
{
    const auto real = PORTAUDIO(Pa_CloseStream);
    return real ? real(stream) : paNotInitialized;
}

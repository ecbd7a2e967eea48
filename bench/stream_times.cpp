// Preloaded into the program under test (LD_PRELOAD): says on the standard error stream when PortAudio was asked for
// what, without changing anything. Each line is "[stream] EVENT BEGIN END", monotonic nanoseconds:
//
//   open, start, stop, close   the call of that name
//   first                      the first block: when the callback was called, and the same again
//
// The lines of one recording come in that order, "first" when the stream is stopped: the audio thread writes nothing.
#include <dlfcn.h>
#include <portaudio.h>

#include <atomic>
#include <chrono>
#include <cstdio>

namespace {

using Nanoseconds = long long;

Nanoseconds now()
{
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void report(const char* event, Nanoseconds begin, Nanoseconds end)
{
    std::fprintf(stderr, "[stream] %s %lld %lld\n", event, begin, end);
}

/// The function of the same name in the real library.
template<typename Function> Function* real(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// The program has one stream at a time.
PaStreamCallback* callback = nullptr;
std::atomic<Nanoseconds> firstBlock{0};

int receive(const void* input, void* output, unsigned long frames, const PaStreamCallbackTimeInfo* time,
    PaStreamCallbackFlags flags, void* user)
{
    if (firstBlock == 0)
        firstBlock = now();
    return callback(input, output, frames, time, flags, user);
}

template<typename Function> PaError timed(const char* event, Function call)
{
    const auto begin = now();
    const PaError error = call();
    report(event, begin, now());
    return error;
}

} // namespace

extern "C" {

PaError Pa_OpenStream(PaStream** stream, const PaStreamParameters* input, const PaStreamParameters* output, double rate,
    unsigned long frames, PaStreamFlags flags, PaStreamCallback* streamCallback, void* user)
{
    static auto* const open = real<decltype(Pa_OpenStream)>("Pa_OpenStream");
    callback = streamCallback;
    firstBlock = 0;
    return timed("open", [&] { return open(stream, input, output, rate, frames, flags, &receive, user); });
}

PaError Pa_StartStream(PaStream* stream)
{
    static auto* const start = real<decltype(Pa_StartStream)>("Pa_StartStream");
    return timed("start", [&] { return start(stream); });
}

PaError Pa_StopStream(PaStream* stream)
{
    static auto* const stop = real<decltype(Pa_StopStream)>("Pa_StopStream");
    report("first", firstBlock, firstBlock);
    return timed("stop", [&] { return stop(stream); });
}

PaError Pa_CloseStream(PaStream* stream)
{
    static auto* const close = real<decltype(Pa_CloseStream)>("Pa_CloseStream");
    return timed("close", [&] { return close(stream); });
}
}

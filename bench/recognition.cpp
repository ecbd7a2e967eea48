// Times local recognition: `bench_recognition MODEL SAMPLES`. SAMPLES is a file of raw 32-bit float samples, mono,
// 16,000 a second. Prints the milliseconds of loading and of recognition, and the text. The latter are those of
// WhisperTranscriber::addSamples and transcribe, with the creation and the release of the state that every call has to
// itself; being the first in the process, the call still has to start threads and touch memory.
#include "transcribe/whisper_transcriber.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace {

std::vector<float> readSamples(const char* path)
{
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    std::vector<float> samples(static_cast<std::size_t>(file.tellg()) / sizeof(float));
    file.seekg(0);
    file.read(reinterpret_cast<char*>(samples.data()), static_cast<std::streamsize>(samples.size() * sizeof(float)));
    return samples;
}

} // namespace

int main(int argc, char** argv)
{
    using Milliseconds = std::chrono::duration<double, std::milli>;
    using Clock = std::chrono::steady_clock;
    quillo::WhisperTranscriber transcriber;
    const auto start = Clock::now();
    if (argc != 3 || !transcriber.loadModel(argv[1])) {
        std::fprintf(stderr, "usage: bench_recognition MODEL SAMPLES\n");
        return 1;
    }
    const Milliseconds load = Clock::now() - start;
    const auto samples = readSamples(argv[2]);
    const auto begin = Clock::now();
    transcriber.addSamples(samples.data(), samples.size());
    const std::string text = transcriber.transcribe();
    const Milliseconds elapsed = Clock::now() - begin;
    std::printf("%.3f %.3f%s\n", load.count(), elapsed.count(), text.c_str());
    return 0;
}

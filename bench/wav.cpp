// encodeWav against libsndfile, which writes the same samples to memory as the same format: WAV, 16-bit PCM, mono, what
// is out of range clamped, into a vector with room for all of it.
#include "transcribe/wav.h"

#include <benchmark/benchmark.h>

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

std::vector<float> tone(std::int64_t seconds)
{
    std::vector<float> samples(static_cast<std::size_t>(seconds) * 16000);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = 1.1F * std::sin(0.05F * static_cast<float>(i)); // loud enough to be clamped now and then
    return samples;
}

/// A file in memory, as libsndfile writes to it.
struct MemoryFile {
    Bytes content;
    std::size_t position = 0;

    static MemoryFile& of(void* file) { return *static_cast<MemoryFile*>(file); }

    static sf_count_t size(void* file) { return static_cast<sf_count_t>(of(file).content.size()); }

    static sf_count_t seek(sf_count_t offset, int whence, void* file)
    {
        const sf_count_t from = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? tell(file) : size(file);
        of(file).position = static_cast<std::size_t>(from + offset);
        return tell(file);
    }

    static sf_count_t read(void*, sf_count_t, void*) { return 0; }

    static sf_count_t write(const void* data, sf_count_t count, void* file)
    {
        auto& [content, position] = of(file);
        const auto* bytes = static_cast<const std::uint8_t*>(data);
        const auto length = static_cast<std::size_t>(count);
        const std::size_t over = std::min(content.size() - position, length); // the header is written again at the end
        std::copy_n(bytes, over, content.begin() + static_cast<std::ptrdiff_t>(position));
        content.insert(content.end(), bytes + over, bytes + length);
        position += length;
        return count;
    }

    static sf_count_t tell(void* file) { return static_cast<sf_count_t>(of(file).position); }
};

Bytes encodeBySndfile(const float* samples, std::size_t count)
{
    MemoryFile file;
    file.content.reserve(44 + 2 * count);
    SF_VIRTUAL_IO access{
        &MemoryFile::size, &MemoryFile::seek, &MemoryFile::read, &MemoryFile::write, &MemoryFile::tell};
    SF_INFO info{};
    info.samplerate = 16000;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* encoder = sf_open_virtual(&access, SFM_WRITE, &info, &file);
    sf_command(encoder, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    sf_writef_float(encoder, samples, static_cast<sf_count_t>(count));
    sf_close(encoder);
    return std::move(file.content);
}

template<Bytes (*encode)(const float*, std::size_t)> void encoded(benchmark::State& state)
{
    const auto samples = tone(state.range(0));
    for ([[maybe_unused]] auto once : state)
        benchmark::DoNotOptimize(encode(samples.data(), samples.size()).data());
}
BENCHMARK_TEMPLATE(encoded, quillo::encodeWav)->Name("ours")->Arg(5)->Arg(60);
BENCHMARK_TEMPLATE(encoded, encodeBySndfile)->Name("sndfile")->Arg(5)->Arg(60);

/// Whether both make the same file, but for the way of scaling and rounding samples, which makes up to two steps.
bool makeTheSame()
{
    const auto samples = tone(1);
    const Bytes ours = quillo::encodeWav(samples.data(), samples.size());
    const Bytes theirs = encodeBySndfile(samples.data(), samples.size());
    if (ours.size() != theirs.size() || !std::equal(ours.begin(), ours.begin() + 44, theirs.begin()))
        return false;
    const auto sample = [](const Bytes& wav, std::size_t i) {
        std::int16_t value = 0;
        std::memcpy(&value, wav.data() + 44 + 2 * i, sizeof(value));
        return value;
    };
    std::size_t i = 0;
    while (i < samples.size() && std::abs(sample(ours, i) - sample(theirs, i)) <= 2)
        ++i;
    return i == samples.size();
}

} // namespace

int main(int argc, char** argv)
{
    if (!makeTheSame()) {
        std::fputs("libsndfile's file is another one\n", stderr);
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

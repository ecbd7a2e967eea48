// What the audio thread pays for a block of 512 samples: the stream callback as shipped, through AudioCapture, the
// engine's buffer and the level for the overlay, with sound card and keyboard replaced by the tests' stand-ins. They go
// through the longest recording there can be, as fast as they come, into memory that has never been touched before.
//
// A block is timed from outside the stand-in, whose own share is measured by pushing nothing and printed beside it. The
// comparison is the least that any recorder does: appending the block to a vector with room for all of them. After each
// block, untimed, the user-interface thread gets the time to show the level, as it does in the 32 ms between blocks.

#include "allocations.h"
#include "recorder.h"

#include <benchmark/benchmark.h>

#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <vector>

namespace {

using namespace quillo;
using bench::onUserInterfaceThread;
using bench::Recorder;

constexpr int longestRecording = 3600; // s
constexpr std::size_t blockSize = 512;
constexpr std::size_t samplesPerRecording = std::size_t{longestRecording} * 16000;
constexpr std::size_t blocksPerRecording = samplesPerRecording / blockSize;

long interruptions()
{
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nivcsw;
}

/// The time of every block, the longest of those during which the thread kept its processor, and the allocations.
class BlockTimes {
public:
    template<typename Function> explicit BlockTimes(Function oneBlock)
    {
        all_.reserve(blocksPerRecording);
        while (all_.size() < blocksPerRecording) {
            add(oneBlock);
            onUserInterfaceThread([] {});
        }
    }

    void report(benchmark::State& state)
    {
        std::sort(all_.begin(), all_.end());
        state.counters["median_us"] = all_[all_.size() / 2];
        state.counters["p99_us"] = all_[all_.size() * 99 / 100];
        state.counters["longest_us"] = all_.back();
        state.counters["longest_uninterrupted_us"] = longestUninterrupted_;
        state.counters["blocks"] = static_cast<double>(all_.size());
        state.counters["interrupted"] = static_cast<double>(interrupted_);
        state.counters["allocations"] = static_cast<double>(allocationsMade_);
    }

private:
    template<typename Function> void add(Function oneBlock)
    {
        const long interruptionsBefore = interruptions();
        const std::size_t allocationsBefore = bench::allocationsOfThisThread();
        const auto begin = std::chrono::steady_clock::now();
        oneBlock();
        const std::chrono::duration<double, std::micro> elapsed = std::chrono::steady_clock::now() - begin;
        allocationsMade_ += bench::allocationsOfThisThread() - allocationsBefore;
        all_.push_back(elapsed.count());
        if (interruptions() == interruptionsBefore)
            longestUninterrupted_ = std::max(longestUninterrupted_, elapsed.count());
        else
            ++interrupted_;
    }

    std::vector<double> all_;
    double longestUninterrupted_ = 0.0;
    std::size_t interrupted_ = 0;
    std::size_t allocationsMade_ = 0;
};

std::vector<float> tone()
{
    std::vector<float> block(blockSize);
    for (std::size_t i = 0; i < block.size(); ++i)
        block[i] = 0.1F * static_cast<float>(i % 40) - 2.0F;
    return block;
}

void capturedBlock(benchmark::State& state)
{
    auto& sound = test::FakePortAudio::instance();
    std::unique_ptr<Recorder> recorder;
    onUserInterfaceThread([&] {
        recorder = std::make_unique<Recorder>();
        recorder->engine.setMaxDurationSeconds(longestRecording);
    });
    const auto block = tone();
    for ([[maybe_unused]] auto recording : state) {
        Recorder::press();
        BlockTimes([&] { sound.push(block); }).report(state);
        Recorder::release();
    }
    onUserInterfaceThread([&] { recorder.reset(); });
}
BENCHMARK(capturedBlock)->Iterations(1)->Unit(benchmark::kMillisecond);

void standInAlone(benchmark::State& state)
{
    auto& sound = test::FakePortAudio::instance();
    AudioCapture capture;
    capture.startCapture({}, {}).wait();
    for ([[maybe_unused]] auto recording : state)
        BlockTimes([&] { sound.push({}); }).report(state);
}
BENCHMARK(standInAlone)->Iterations(1)->Unit(benchmark::kMillisecond);

void bareAppend(benchmark::State& state)
{
    const auto block = tone();
    for ([[maybe_unused]] auto recording : state) {
        std::vector<float> samples;
        samples.reserve(samplesPerRecording);
        BlockTimes([&] { samples.insert(samples.end(), block.begin(), block.end()); }).report(state);
    }
}
BENCHMARK(bareAppend)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    mallopt(M_MMAP_THRESHOLD, 1 << 20); // no recording gets the memory of the one before
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    benchmark::Initialize(&argc, argv);
    bench::besideEventLoop([] { benchmark::RunSpecifiedBenchmarks(); });
    return 0;
}

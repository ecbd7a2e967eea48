// What the length of a recording costs: `bench_recording URL SECONDS...`. The engine records each number of SECONDS
// from the stand-in of the sound card, as fast as they come, and has them recognised by the service at URL. A line for
// each has the highest resident set meanwhile, in KiB above that before the press, the monotonic nanoseconds at the
// release of the hotkey, and those at the paste. A first recording, not reported, has what is made once in a process.
#include "peak_memory.h"
#include "recorder.h"
#include "stand_ins/eventually.h"
#include "transcribe/cloud_transcriber.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace quillo;

constexpr int longestRecording = 3600; // s

long long now()
{
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void record(int seconds, bool reported)
{
    auto& system = test::FakePlatform::instance();
    const std::vector<float> second(16000, 0.1F);
    const std::size_t pastes = system.pastes().size();
    const bench::PeakMemory memory;
    bench::Recorder::press();
    for (int done = 0; done < seconds; ++done)
        test::FakePortAudio::instance().push(second);
    const long long released = now();
    bench::Recorder::release();
    if (!test::eventually([&] { return system.pastes().size() > pastes; })) {
        std::fprintf(stderr, "nothing was pasted\n");
        std::_Exit(1);
    }
    const long long pasted = now();
    if (reported)
        std::printf("%ld %lld %lld\n", memory.growthKib(), released, pasted);
    std::this_thread::sleep_for(std::chrono::milliseconds(200)); // the upload's thread frees its memory
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: bench_recording URL SECONDS...\n");
        return 1;
    }
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    CloudTranscriber cloud;
    cloud.setProviders({{.name = "openai", .apiKey = "sk-measured", .endpoint = argv[1], .enabled = true}});
    bench::Recorder recorder;
    recorder.engine.setCloudTranscriber(&cloud);
    recorder.engine.setTranscriptionSource("openai");
    recorder.engine.setMaxDurationSeconds(longestRecording);
    bench::besideEventLoop([=] {
        record(1, false);
        for (int i = 2; i < argc; ++i)
            record(std::stoi(argv[i]), true);
    });
    return 0;
}

// What reports cost the thread of the user interface:
//
//   bench_reports overlay RATE          levels of a recording, RATE a second
//   bench_reports meter RATE            levels of the microphone test
//   bench_reports download URL FOLDER   progress of a download on the Models page; FOLDER becomes the user's data root
//
// Prints how many reports came in a second, and the share of a processor, in per cent, that the thread took meanwhile.
#include "app/theme.h"
#include "model/model_manager.h"
#include "net/curl_runtime.h"
#include "recorder.h"
#include "ui/settings/microphone_tab.h"
#include "ui/settings/models_tab.h"

#include <QPushButton>

#include <pthread.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <future>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace quillo;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr int playedSeconds = 3;
constexpr auto settling = 500ms; // the windows come into sight

[[noreturn]] void fail(const char* what)
{
    std::fprintf(stderr, "%s\n", what);
    std::_Exit(1); // without waiting for threads
}

/// Processor time of a thread.
class ThreadClock {
public:
    explicit ThreadClock(pthread_t thread) { pthread_getcpuclockid(thread, &clock_); }

    Seconds now() const
    {
        timespec time{};
        clock_gettime(clock_, &time);
        return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    }

private:
    clockid_t clock_{};
};

/// What the thread of a clock takes from the object's birth on.
class Share {
public:
    explicit Share(const ThreadClock& clock)
        : clock_(clock)
    {
    }

    void print(double reports) const
    {
        const Seconds elapsed = Clock::now() - begin_;
        std::printf("%.0f %.3f\n", reports / elapsed.count(), 100.0 * (clock_.now() - before_) / elapsed);
    }

private:
    const ThreadClock& clock_;
    const Clock::time_point begin_ = Clock::now();
    const Seconds before_ = clock_.now();
};

/// Plays blocks that differ in loudness, so that each has to be shown.
double play(int blocksPerSecond)
{
    std::vector<std::vector<float>> blocks;
    for (int loudness = 1; loudness <= 16; ++loudness)
        blocks.emplace_back(512, 0.01F * static_cast<float>(loudness));
    const int count = playedSeconds * blocksPerSecond;
    auto next = Clock::now();
    for (int number = 0; number < count; ++number) {
        if (test::FakePortAudio::instance().push(blocks[static_cast<std::size_t>(number) % blocks.size()]) != 1)
            fail("nothing listens");
        std::this_thread::sleep_until(next += std::chrono::nanoseconds(1s) / blocksPerSecond);
    }
    return count;
}

void overlay(const ThreadClock& clock, int rate)
{
    std::unique_ptr<bench::Recorder> recorder;
    bench::onUserInterfaceThread([&] { recorder = std::make_unique<bench::Recorder>(); });
    bench::Recorder::press();
    std::this_thread::sleep_for(settling);
    const Share share(clock);
    share.print(play(rate));
    bench::Recorder::release();
    bench::onUserInterfaceThread([&] { recorder.reset(); });
}

void meter(const ThreadClock& clock, int rate)
{
    AudioCapture capture;
    std::unique_ptr<MicrophoneTab> tab;
    bench::onUserInterfaceThread([&] {
        tab = std::make_unique<MicrophoneTab>(&capture);
        tab->show();
        tab->findChild<QPushButton*>("micTestButton")->click();
    });
    std::this_thread::sleep_for(settling);
    const Share share(clock);
    share.print(play(rate));
    bench::onUserInterfaceThread([&] { tab.reset(); });
}

/// How many reports a download makes, seen without a window.
double countReports(model::ModelManager& manager)
{
    double count = 0;
    std::promise<bool> end;
    manager.downloadModel("measured", [&](const model::ModelInfo& info, int) {
        ++count;
        if (info.status != model::ModelStatus::Downloading)
            end.set_value(info.status == model::ModelStatus::Downloaded);
    });
    if (!end.get_future().get())
        fail("the download failed");
    manager.deleteModel("measured");
    return count;
}

void download(const ThreadClock& clock, const std::string& url)
{
    const CurlRuntime runtime;
    model::ModelManager manager(
        {{.id = "measured", .name = "Measured", .description = "A model", .fileName = "measured.bin", .url = url}});
    const double count = countReports(manager);
    std::unique_ptr<ModelsTab> tab;
    bench::onUserInterfaceThread([&] {
        tab = std::make_unique<ModelsTab>(&manager, nullptr);
        tab->show();
    });
    std::this_thread::sleep_for(settling);
    const Share share(clock);
    bench::onUserInterfaceThread([&] { tab->findChild<QPushButton*>("downloadButton")->click(); });
    while (manager.availableModels().front().status != model::ModelStatus::Downloaded)
        std::this_thread::sleep_for(5ms);
    share.print(count);
    bench::onUserInterfaceThread([&] { tab.reset(); });
    manager.deleteModel("measured");
}

} // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const bool isDownload = arguments.size() == 3 && arguments[0] == "download";
    if (!isDownload && (arguments.size() != 2 || (arguments[0] != "overlay" && arguments[0] != "meter"))) {
        std::fprintf(stderr, "usage: bench_reports overlay RATE | meter RATE | download URL FOLDER\n");
        return 1;
    }
    if (isDownload)
        qputenv("XDG_DATA_HOME", arguments[2].c_str());
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    applyTheme(application);
    test::FakePortAudio::instance().reset(); // plugs the microphone in
    const ThreadClock clock(pthread_self());
    bench::besideEventLoop([&] {
        if (isDownload)
            download(clock, arguments[1]);
        else
            (arguments[0] == "meter" ? meter : overlay)(clock, std::stoi(arguments[1]));
    });
    return 0;
}

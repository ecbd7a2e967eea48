// Downloads models: `bench_download URL FOLDER COUNT`. FOLDER becomes the user's data root. Each of COUNT lines has the
// milliseconds from the request to the last report, and by how many KiB the resident set grew at its highest meanwhile.
#include "model/model_manager.h"
#include "net/curl_runtime.h"
#include "peak_memory.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <string>

namespace {

using quillo::model::ModelInfo;
using quillo::model::ModelManager;
using quillo::model::ModelStatus;

bool download(ModelManager& manager)
{
    std::promise<bool> end;
    manager.downloadModel("measured", [&end](const ModelInfo& info, int) {
        if (info.status != ModelStatus::Downloading)
            end.set_value(info.status == ModelStatus::Downloaded);
    });
    return end.get_future().get();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: bench_download URL FOLDER COUNT\n");
        return 1;
    }
    setenv("XDG_DATA_HOME", argv[2], 1);
    const quillo::CurlRuntime runtime; // as in the program, where the client of the remote services has one
    ModelInfo model;
    model.id = "measured";
    model.fileName = "measured.bin";
    model.url = argv[1];
    ModelManager manager({model});
    for (int number = 0; number < std::stoi(argv[3]); ++number) {
        const quillo::bench::PeakMemory memory;
        const auto begin = std::chrono::steady_clock::now();
        if (!download(manager)) {
            std::fprintf(stderr, "the download failed\n");
            return 1;
        }
        const auto time = std::chrono::steady_clock::now() - begin;
        std::printf("%.3f %ld\n", std::chrono::duration<double, std::milli>(time).count(), memory.growthKib());
        manager.deleteModel("measured");
    }
    return 0;
}

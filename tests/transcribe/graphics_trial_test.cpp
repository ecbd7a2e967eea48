#include "support/files.h"
#include "support/temporary_folder.h"
#include "transcribe/graphics_trial.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace quillo {
namespace {

namespace fs = std::filesystem;
using test::writeFile;

// What a trial does is shown with the real program (tests/e2e/graphics).
TEST(GraphicsTrial, HoldsForTheModelTheDriversAndTheVersionThatWereTried)
{
    const test::TemporaryFolder folder;
    const fs::path driver = folder.path() / "driver.json", model = folder.path() / "ggml-base.bin";
    const fs::path record = folder.path() / "graphics.txt";
    const GraphicsTrial trial("program", record.string());
    writeFile(driver, "{}");
    writeFile(model, "weights");
    setenv("VK_DRIVER_FILES", driver.c_str(), 1);
    EXPECT_FALSE(trial.hasPassed(model.string()));

    const auto passes = [&](const std::string& version, const std::string& outcomes) {
        const auto time = std::to_string(fs::last_write_time(driver).time_since_epoch().count());
        writeFile(record, version + ' ' + driver.string() + ' ' + time + " \n" + outcomes);
        return trial.hasPassed(model.string());
    };
    EXPECT_TRUE(passes(QUILLO_VERSION, "ggml-tiny.bin 7 failed\nggml-base.bin 7 passed\n"));
    EXPECT_FALSE(passes(QUILLO_VERSION, "ggml-base.bin 7 failed\n"));
    EXPECT_FALSE(passes("0.0.9", "ggml-base.bin 7 passed\n"));
    EXPECT_FALSE(passes(QUILLO_VERSION, "ggml-base.bin 70 passed\nggml-tiny.bin 7 passed\n"));

    EXPECT_TRUE(passes(QUILLO_VERSION, "ggml-base.bin 7 passed\n"));
    EXPECT_FALSE(GraphicsTrial("", record.string()).hasPassed(model.string())) << "nothing could be tried";
    fs::last_write_time(driver, fs::last_write_time(driver) + std::chrono::hours(1)); // another package
    EXPECT_FALSE(trial.hasPassed(model.string()));
    unsetenv("VK_DRIVER_FILES");
}

} // namespace
} // namespace quillo

#include "model/download.h"

#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <thread>

namespace quillo::model {
namespace {

namespace fs = std::filesystem;

using test::contentOf;
using test::StandInServices;
using test::writeFile;

TEST_F(Download, ReportsOneEndAndLeavesAWholeModelOrTheOldOne)
{
    const struct {
        const char* answer; ///< members beside the model as the body
        ModelStatus end = ModelStatus::Error;
        bool sizeIsKnown = true;
    } cases[] = {
        {R"("chunk": 10000, "delay": 0.005)", ModelStatus::Downloaded},
        {R"("status": 302, "headers": {"Location": "/other"})", ModelStatus::Downloaded},
        {R"("how": "no-length")", ModelStatus::Downloaded, false},
        {R"("status": 302)"},
        {R"("status": 404)"},
        {R"("status": 203)"},
        {R"("how": "short")"},
        {R"("how": "stall-midway")"},
    };
    server->answer("/other", model());
    for (const auto& c : cases) {
        SCOPED_TRACE(c.answer);
        writeFile(one, "old model");
        writeFile(onePart, std::string(2 * modelSize, 'x')); // of an earlier run that was killed
        server->answer("/one", model(c.answer));
        const auto all = download(c.end);
        EXPECT_TRUE(contentOf(one) == (c.end == ModelStatus::Downloaded ? content : "old model"));
        EXPECT_FALSE(fs::exists(onePart));
        EXPECT_EQ(all.size() > 1, c.sizeIsKnown);
        EXPECT_TRUE(!std::string(c.answer).ends_with("stall-midway\"") || all[all.size() - 2].percent == 49)
            << "truncated, not rounded";
        for (const Report& report : all)
            EXPECT_NE(report.thread, std::this_thread::get_id());
    }
}

TEST_F(Download, TrustsNoServerThatNobodyVouchesFor)
{
    StandInServices stranger(StandInServices::Transport::SelfSignedTls);
    stranger.answer("/one", model());
    EXPECT_EQ(download(ModelStatus::Error, stranger.url("/one")).size(), 1U);
    EXPECT_TRUE(stranger.requests().empty());
    EXPECT_TRUE(fs::is_empty(models));
}

TEST_F(Download, ReportsAMissingFolderAtOnceAndNothingOfUnknownModels)
{
    writeFile(models, "a file where the folder should be");
    for (const char* id : {"", "One", "one ", "tiny", "one"})
        managerOf().downloadModel(id, reports.receiver());
    EXPECT_FALSE(CurlRuntime::inUse());
    ASSERT_EQ(reports.soFar().size(), 1U);
    EXPECT_EQ(reports.soFar()[0].thread, std::this_thread::get_id());
    reports.expectEnd(ModelStatus::Error);
    managerOf().downloadModel("one", {});
}

TEST_F(Download, LeavesAloneWhatStandsInItsWay)
{
    server->answer("/one", model());
    for (const fs::path& obstacle : {onePart, one}) {
        writeFile(obstacle / "file", "inside");
        download(ModelStatus::Error);
        EXPECT_EQ(contentOf(obstacle / "file"), "inside");
        fs::remove_all(obstacle);
        EXPECT_TRUE(fs::is_empty(models));
    }
}

TEST_F(Download, RunsOnceAtATimeAndAgainFromItsLastReport)
{
    server->answer("/one", "[" + model(R"("how": "short")") + ", " + model() + "]");
    const std::size_t requestsBefore = server->requests().size();
    const Reports dropped;
    const Reports retry;
    ModelManager manager = managerOf();
    manager.downloadModel("one", [&, receive = reports.receiver()](const ModelInfo& info, int percent) {
        receive(info, percent);
        if (info.status == ModelStatus::Error)
            manager.downloadModel("one", retry.receiver());
        else
            managerOf().downloadModel("one", dropped.receiver());
    });
    awaitEnd();
    reports.expectEnd(ModelStatus::Error);
    EXPECT_GT(reports.soFar().size(), 1U) << "nothing was asked for in the meantime";
    EXPECT_TRUE(dropped.soFar().empty());
    retry.expectEnd(ModelStatus::Downloaded);
    EXPECT_EQ(server->requests().size(), requestsBefore + 2);
    EXPECT_TRUE(contentOf(one) == content);
}

TEST_F(Download, RunsBesideOthersAndOutlivesItsManager)
{
    const std::string afterBoth = R"("after": )" + std::to_string(server->requests().size() + 2);
    server->answer("/one", model(afterBoth));
    server->answer("/two", model(afterBoth));
    const Reports other;
    auto manager = std::make_unique<ModelManager>(managerOf());
    manager->downloadModel("one", reports.receiver());
    manager->downloadModel("two", other.receiver());
    manager.reset();
    awaitEnd();
    reports.expectEnd(ModelStatus::Downloaded);
    other.expectEnd(ModelStatus::Downloaded);
    EXPECT_TRUE(contentOf(one) == content && contentOf(models / "two.bin") == content);
    EXPECT_EQ(std::distance(fs::directory_iterator(models), {}), 2);
}

} // namespace
} // namespace quillo::model

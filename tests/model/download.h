#pragma once

#include "model/model_manager.h"
#include "net/curl_runtime.h"
#include "stand_ins/eventually.h"
#include "stand_ins/fake_platform.h"
#include "support/files.h"
#include "support/stand_in_services.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace quillo::model {

inline constexpr std::size_t modelSize = 300'001; // half of it is 49.99 %

struct Report {
    ModelInfo info;
    int percent = 0;
    std::thread::id thread;
};

/// What a download reports. It shares the list with its receiver, which may therefore be called at any time.
class Reports {
public:
    DownloadReport receiver() const
    {
        return [list = list_](const ModelInfo& info, int percent) {
            const std::lock_guard lock(list->mutex);
            list->reports.push_back({info, percent, std::this_thread::get_id()});
        };
    }

    std::vector<Report> soFar() const
    {
        const std::lock_guard lock(list_->mutex);
        return list_->reports;
    }

    /// Expects a download that is over: rising percentages, then this end.
    void expectEnd(ModelStatus end) const
    {
        const auto reports = soFar();
        ASSERT_FALSE(reports.empty());
        int percent = 0;
        for (const Report& report : reports) {
            const bool isLast = &report == &reports.back();
            EXPECT_EQ(report.info.status, isLast ? end : ModelStatus::Downloading);
            EXPECT_EQ(report.info.progress, report.percent);
            EXPECT_EQ(report.info.id, reports.front().info.id);
            EXPECT_TRUE(isLast || (percent <= report.percent && report.percent <= 100)) << report.percent;
            percent = report.percent;
        }
        EXPECT_EQ(percent, end == ModelStatus::Downloaded ? 100 : 0);
    }

private:
    struct List {
        std::mutex mutex;
        std::vector<Report> reports;
    };
    std::shared_ptr<List> list_ = std::make_shared<List>();
};

/// Two models, "one" and "two", at addresses of the stand-in server, and folders of the test's own.
class Download : public testing::Test {
protected:
    static void SetUpTestSuite() { server = std::make_unique<test::StandInServices>(); }
    static void TearDownTestSuite() { server.reset(); }

    Download()
    {
        test::FakePlatform::instance().setDataRoot(folder.path().string());
        std::minstd_rand random(7); // NOLINT(*-msc51-cpp): the same content each time
        for (char& byte : content)
            byte = static_cast<char>(random());
        server->provide("source", content);
    }
    ~Download() override { awaitEnd(); }

    static ModelManager managerOf(
        const std::string& url = server->url("/one"), std::chrono::seconds stallLimit = std::chrono::minutes(1))
    {
        return ModelManager(
            {{"one", "", "", 0, "one.bin", url}, {"two", "", "", 0, "two.bin", server->url("/two")}}, stallLimit);
    }

    /// Downloads "one", expects this end and returns what was reported.
    static std::vector<Report> download(ModelStatus end, const std::string& url = server->url("/one"))
    {
        const Reports seen;
        managerOf(url, std::chrono::seconds(1)).downloadModel("one", seen.receiver());
        awaitEnd();
        seen.expectEnd(end);
        return seen.soFar();
    }

    /// An answer with the content as its body, and with these members.
    static std::string model(const std::string& members = "")
    {
        return R"({"file": "source")" + (members.empty() ? "" : ", " + members) + "}";
    }

    /// Until all downloads are over and nothing can be reported any more.
    static void awaitEnd()
    {
        ASSERT_TRUE(test::eventually([] { return !CurlRuntime::inUse(); })) << "a download does not end";
    }

    static inline std::unique_ptr<test::StandInServices> server;
    const test::TemporaryFolder folder;
    const std::filesystem::path models = folder.path() / "Quillo" / "models";
    const std::filesystem::path one = models / "one.bin";
    const std::filesystem::path onePart = models / "one.bin.part";
    std::string content = std::string(modelSize, '\0');
    const Reports reports;
};

} // namespace quillo::model

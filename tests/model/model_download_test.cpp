#include "model/model_manager.h"
#include "net/curl_runtime.h"
#include "support/eventually.h"
#include "support/fake_platform.h"
#include "support/files.h"
#include "support/posix/full_disk.h"
#include "support/stand_in_services.h"

#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <memory>
#include <mutex>
#include <ostream>
#include <random>
#include <thread>

namespace quillo::model {
namespace {

namespace fs = std::filesystem;

using test::contentOf;
using test::StandInServices;
using test::writeFile;
using namespace std::chrono_literals;

constexpr std::size_t modelSize = 300'001; // half of it is 49.99 %

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
        const Report& last = reports.back();
        EXPECT_EQ(last.info.status, end);
        EXPECT_EQ(last.percent, end == ModelStatus::Downloaded ? 100 : 0);
        int percent = 0;
        for (const Report& report : reports) {
            EXPECT_EQ(report.info.progress, report.percent);
            EXPECT_EQ(report.info.id, last.info.id);
            if (&report == &last)
                break;
            EXPECT_EQ(report.info.status, ModelStatus::Downloading);
            EXPECT_TRUE(percent <= report.percent && report.percent <= 100) << percent << ", " << report.percent;
            percent = report.percent;
        }
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
    static void SetUpTestSuite() { server = std::make_unique<StandInServices>(); }
    static void TearDownTestSuite() { server.reset(); }

    Download()
    {
        test::FakePlatform::instance().setDataRoot(folder.path().string());
        std::minstd_rand random(7); // NOLINT(*-msc51-cpp): the same content each time
        for (char& byte : content)
            byte = static_cast<char>(random());
        writeFile(source, content);
    }
    ~Download() override { awaitEnd(); }

    static ModelInfo row(const std::string& id, const std::string& url)
    {
        ModelInfo info;
        info.id = id;
        info.fileName = id + ".bin";
        info.url = url;
        return info;
    }
    static ModelManager managerOf(const std::string& url = server->url("/one"), std::chrono::seconds stallLimit = 60s)
    {
        return ModelManager({row("one", url), row("two", server->url("/two"))}, stallLimit);
    }

    /// An answer with the content as its body, and with these members.
    std::string model(const std::string& members = "") const
    {
        return R"({"file": ")" + source.string() + '"' + (members.empty() ? "" : ", " + members) + "}";
    }

    /// Until all downloads are over and nothing can be reported any more.
    static void awaitEnd()
    {
        ASSERT_TRUE(test::eventually([] { return !CurlRuntime::inUse(); })) << "a download does not end";
    }

    static inline std::unique_ptr<StandInServices> server;
    const test::TemporaryFolder folder;
    const fs::path source = folder.path() / "source";
    const fs::path models = folder.path() / "Quillo" / "models";
    const fs::path one = models / "one.bin";
    const fs::path onePart = models / "one.bin.part";
    std::string content = std::string(modelSize, '\0');
    const Reports reports;
};

struct Outcome {
    std::string name;
    std::string answer; ///< members beside the model as the body
    ModelStatus end = ModelStatus::Error;
    bool sizeIsKnown = true;

    friend void PrintTo(const Outcome& that, std::ostream* out) { *out << that.name; }
};

class DownloadOutcome : public Download, public testing::WithParamInterface<Outcome> { };

TEST_P(DownloadOutcome, IsReportedOnceAndLeavesAWholeModelOrTheOldOne)
{
    writeFile(one, "old model");
    writeFile(onePart, std::string(2 * modelSize, 'x')); // of an earlier run that was killed
    server->answer("/one", model(GetParam().answer));
    server->answer("/other", model());
    managerOf(server->url("/one"), 1s).downloadModel("one", reports.receiver());
    awaitEnd();

    reports.expectEnd(GetParam().end);
    EXPECT_TRUE(contentOf(one) == (GetParam().end == ModelStatus::Downloaded ? content : "old model"));
    EXPECT_FALSE(fs::exists(onePart));
    const auto all = reports.soFar();
    EXPECT_EQ(all.size() > 1, GetParam().sizeIsKnown);
    if (GetParam().name == "stallMidway") {
        ASSERT_GE(all.size(), 2U);
        EXPECT_EQ(all[all.size() - 2].percent, 49) << "truncated, not rounded";
    }
    for (const Report& report : all)
        EXPECT_NE(report.thread, std::this_thread::get_id());
}

INSTANTIATE_TEST_SUITE_P(Answers, DownloadOutcome,
    testing::Values(Outcome{"whole", "", ModelStatus::Downloaded},
        Outcome{"inSmallPieces", R"("chunk": 10000, "delay": 0.005)", ModelStatus::Downloaded},
        Outcome{"longerThanAnnounced", R"("how": "long")", ModelStatus::Downloaded},
        Outcome{"redirected", R"("status": 302, "headers": {"Location": "/other"})", ModelStatus::Downloaded},
        Outcome{"lengthUnknown", R"("how": "no-length")", ModelStatus::Downloaded, false},
        Outcome{"redirectedNowhere", R"("status": 302)"}, Outcome{"notFound", R"("status": 404)"},
        Outcome{"serverError", R"("status": 500)"}, Outcome{"successButNot200", R"("status": 203)"},
        Outcome{"shorterThanAnnounced", R"("how": "short")"}, Outcome{"stallMidway", R"("how": "stall-midway")"},
        Outcome{"noAnswer", R"("how": "stall")", ModelStatus::Error, false},
        Outcome{"connectionDropped", R"("how": "drop")", ModelStatus::Error, false}),
    [](const auto& test) { return test.param.name; });

TEST_F(Download, ResetMidwayFails) // how much of the half arrives before the reset is a matter of chance
{
    server->answer("/one", model(R"("how": "cut")"));
    managerOf().downloadModel("one", reports.receiver());
    awaitEnd();
    reports.expectEnd(ModelStatus::Error);
    EXPECT_TRUE(fs::is_empty(models));
}

TEST_F(Download, FailsWithoutAServerThatItCanTrust)
{
    StandInServices stranger(StandInServices::Transport::SelfSignedTls);
    stranger.answer("/one", model());
    for (const std::string& url : {stranger.url("/one"), std::string("http://127.0.0.1:1/")}) {
        const Reports failed;
        managerOf(url).downloadModel("one", failed.receiver());
        awaitEnd();
        failed.expectEnd(ModelStatus::Error);
        EXPECT_EQ(failed.soFar().size(), 1U);
    }
    EXPECT_TRUE(stranger.requests().empty());
    EXPECT_TRUE(fs::is_empty(models));
}

/// A port of this machine whose connections nobody accepts: there is no room in the queue any more.
class DeafServer {
public:
    DeafServer()
    {
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address_;
        auto* const address = reinterpret_cast<sockaddr*>(&address_);
        bind(sockets_[0], address, size);
        listen(sockets_[0], 0);
        getsockname(sockets_[0], address, &size);
        for (const int other : {sockets_[1], sockets_[2]})
            connect(other, address, size);
    }
    ~DeafServer()
    {
        for (const int each : sockets_)
            close(each);
    }
    DeafServer(const DeafServer&) = delete;
    DeafServer& operator=(const DeafServer&) = delete;

    std::string url() const { return "http://127.0.0.1:" + std::to_string(ntohs(address_.sin_port)) + "/one"; }

private:
    static int open() { return socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0); }

    const std::array<int, 3> sockets_{open(), open(), open()};
    sockaddr_in address_{};
};

TEST_F(Download, GivesUpAServerThatDoesNotAccept)
{
    const DeafServer deaf;
    managerOf(deaf.url(), 1s).downloadModel("one", reports.receiver());
    awaitEnd();
    reports.expectEnd(ModelStatus::Error);
}

TEST_F(Download, IgnoresUnknownModels)
{
    for (const char* id : {"", "One", "one ", "tiny"})
        managerOf().downloadModel(id, reports.receiver());
    EXPECT_FALSE(CurlRuntime::inUse());
    EXPECT_TRUE(reports.soFar().empty());
    EXPECT_FALSE(fs::exists(models));
}

TEST_F(Download, ReportsAMissingFolderAtOnce)
{
    writeFile(models, "a file where the folder should be");
    for (const std::size_t count : {1, 2}) {
        managerOf().downloadModel("one", reports.receiver());
        ASSERT_EQ(reports.soFar().size(), count);
        EXPECT_EQ(reports.soFar().back().info.status, ModelStatus::Error);
        EXPECT_EQ(reports.soFar().back().percent, 0);
        EXPECT_EQ(reports.soFar().back().thread, std::this_thread::get_id());
    }
    managerOf().downloadModel("one", {});
}

TEST_F(Download, LeavesAloneWhatStandsInItsWay)
{
    server->answer("/one", model());
    for (const fs::path& obstacle : {onePart, one}) {
        const Reports failed;
        writeFile(obstacle / "file", "inside");
        managerOf().downloadModel("one", failed.receiver());
        awaitEnd();
        failed.expectEnd(ModelStatus::Error);
        EXPECT_EQ(contentOf(obstacle / "file"), "inside");
        fs::remove_all(obstacle);
        EXPECT_TRUE(fs::is_empty(models));
    }
}

TEST_F(Download, NoticesAFullDisk)
{
    for (const std::size_t size : {modelSize, std::size_t{300}}) { // while the body arrives; when the file is closed
        const Reports failed;
        writeFile(source, content.substr(0, size));
        server->answer("/one", model());
        {
            const test::FullDisk disk(100);
            managerOf().downloadModel("one", failed.receiver());
            awaitEnd();
        }
        failed.expectEnd(ModelStatus::Error);
        EXPECT_TRUE(fs::is_empty(models)) << size;
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

// What needs the sockets and the limits of POSIX.
#include "model/download.h"
#include "support/posix/full_disk.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <string>

static int syncError = 0; // of the file system; 0: none

extern "C" int fsync(int /*file*/)
{
    errno = syncError;
    return syncError == 0 ? 0 : -1;
}

namespace quillo::model {
namespace {

namespace fs = std::filesystem;

using namespace std::chrono_literals;

using DownloadPosix = Download;

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

TEST_F(DownloadPosix, GivesUpAServerThatDoesNotAccept)
{
    const DeafServer deaf;
    managerOf(deaf.url(), 1s).downloadModel("one", reports.receiver());
    awaitEnd();
    reports.expectEnd(ModelStatus::Error);
}

TEST_F(DownloadPosix, NoticesAFullDisk)
{
    for (const std::size_t size : {modelSize, std::size_t{300}}) { // while the body arrives; when the file is closed
        const Reports failed;
        server->provide("source", content.substr(0, size));
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

TEST_F(DownloadPosix, InstallsOnlyWhatTheDiskHasTaken)
{
    server->answer("/one", model());
    for (const auto& [error, end] : {std::pair(EIO, ModelStatus::Error), std::pair(ENOSPC, ModelStatus::Error),
             std::pair(EINVAL, ModelStatus::Downloaded), std::pair(ENOTSUP, ModelStatus::Downloaded)}) {
        const Reports seen;
        syncError = error;
        managerOf().downloadModel("one", seen.receiver());
        awaitEnd();
        seen.expectEnd(end);
        EXPECT_EQ(fs::exists(one), end == ModelStatus::Downloaded) << error;
        EXPECT_FALSE(fs::exists(onePart));
    }
    syncError = 0;
}

} // namespace
} // namespace quillo::model

// What needs the sockets and the limits of POSIX.
#include "model/download.h"
#include "support/posix/full_disk.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

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

TEST_F(DownloadPosix, GivesUpAServerThatDoesNotAccept)
{
    const auto open = [] { return socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0); };
    const int deaf = open();
    const int others[] = {open(), open()}; // who leave no room in its queue
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    bind(deaf, reinterpret_cast<sockaddr*>(&address), size);
    listen(deaf, 0);
    getsockname(deaf, reinterpret_cast<sockaddr*>(&address), &size);
    for (const int other : others)
        connect(other, reinterpret_cast<sockaddr*>(&address), size);
    managerOf("http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)), 1s)
        .downloadModel("one", reports.receiver());
    awaitEnd();
    reports.expectEnd(ModelStatus::Error);
    for (const int each : {deaf, others[0], others[1]})
        close(each);
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

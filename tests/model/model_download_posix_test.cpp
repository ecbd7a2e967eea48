// What needs the sockets and the limits of POSIX.
#include "model/download.h"
#include "support/posix/full_disk.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
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

using DownloadPosix = Download;

TEST_F(DownloadPosix, GivesUpAServerThatDoesNotAccept)
{
    const int deaf = socket(AF_INET, SOCK_STREAM, 0);
    const int other = socket(AF_INET, SOCK_STREAM, 0); // who leaves no room in its queue
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    bind(deaf, reinterpret_cast<sockaddr*>(&address), size);
    listen(deaf, 0);
    getsockname(deaf, reinterpret_cast<sockaddr*>(&address), &size);
    connect(other, reinterpret_cast<sockaddr*>(&address), size);
    download(ModelStatus::Error, "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)));
    close(other);
    close(deaf);
}

TEST_F(DownloadPosix, NoticesAFullDisk)
{
    for (const std::size_t size : {modelSize, std::size_t{300}}) { // while the body arrives; when the file is closed
        server->provide("source", content.substr(0, size));
        server->answer("/one", model());
        {
            const test::FullDisk disk(100);
            download(ModelStatus::Error);
        }
        EXPECT_TRUE(fs::is_empty(models)) << size;
    }
}

TEST_F(DownloadPosix, InstallsOnlyWhatTheDiskHasTaken)
{
    server->answer("/one", model());
    for (const int error : {EIO, ENOSPC, EINVAL, ENOTSUP}) {
        syncError = error;
        const bool isTaken = error == EINVAL || error == ENOTSUP; // there is nothing to be flushed
        download(isTaken ? ModelStatus::Downloaded : ModelStatus::Error);
        EXPECT_EQ(fs::exists(one), isTaken) << error;
        EXPECT_FALSE(fs::exists(onePart));
    }
    syncError = 0;
}

} // namespace
} // namespace quillo::model

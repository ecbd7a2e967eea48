#include "platform/instance_guard.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quillo::platform {
namespace {

class File {
public:
    explicit File(int fd = -1)
        : fd_(fd)
    {
    }
    File(File&& other) noexcept
        : fd_(other.release())
    {
    }
    File& operator=(File&&) = delete;
    ~File()
    {
        if (fd_ >= 0)
            close(fd_);
    }
    explicit operator bool() const { return fd_ >= 0; }
    int get() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }

private:
    int fd_;
};

// Only a folder in which nobody else can put anything.
File openPrivateFolder(const std::string& path)
{
    File folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW));
    struct stat status { };
    constexpr mode_t writableByOthers = S_IWGRP | S_IWOTH;
    const bool ours = folder && fstat(folder.get(), &status) == 0 && status.st_uid == getuid()
        && !(status.st_mode & writableByOthers);
    return ours ? std::move(folder) : File();
}

File openLockFolder(const std::string& name)
{
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime == '/')
        if (File folder = openPrivateFolder(runtime))
            return folder;
    std::error_code error;
    const std::filesystem::path temporary = std::filesystem::temp_directory_path(error);
    if (error)
        return File();
    const std::string path = temporary / (name + '-' + std::to_string(getuid()));
    mkdir(path.c_str(), S_IRWXU); // fails when it is there already; whose it is, is looked at next
    return openPrivateFolder(path);
}

} // namespace

bool takeInstanceGuard(const std::string& name)
{
    const File folder = openLockFolder(name);
    if (!folder)
        return true;
    File file(
        openat(folder.get(), (name + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (!file)
        return true;
    if (flock(file.get(), LOCK_EX | LOCK_NB) != 0)
        return errno != EWOULDBLOCK;
    // Left open for the rest of the process's life: closing it would give the lock up.
    file.release();
    return true;
}

} // namespace quillo::platform

#include "platform/flush_to_disk.h"

#include <fcntl.h>
#include <unistd.h>

namespace quillo::platform {

void flushToDisk(const std::filesystem::path& path)
{
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return;
    fsync(file);
    close(file);
}

} // namespace quillo::platform

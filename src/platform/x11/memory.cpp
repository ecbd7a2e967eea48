#include "platform/memory.h"

#include <malloc.h>

namespace quillo::platform {

void returnFreedMemory()
{
    malloc_trim(0);
}

} // namespace quillo::platform

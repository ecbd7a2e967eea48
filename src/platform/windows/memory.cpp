#include "platform/memory.h"

#include <malloc.h>

namespace quillo::platform {

void returnFreedMemory()
{
    _heapmin();
}

} // namespace quillo::platform

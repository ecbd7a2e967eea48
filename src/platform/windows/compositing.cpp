#include "platform/compositing.h"

namespace quillo::platform {

bool isCompositing()
{
    return true; // the desktop has always composed its windows since Windows 8
}

} // namespace quillo::platform

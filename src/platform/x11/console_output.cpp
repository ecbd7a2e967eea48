#include "platform/console_output.h"

namespace quillo::platform {

void connectStandardError()
{
    // The stream is inherited.
}

} // namespace quillo::platform

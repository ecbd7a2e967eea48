#include "platform/display_loss.h"

namespace quillo::platform {

void leaveIfDisplayIsLost()
{
    // Windows need no server.
}

} // namespace quillo::platform

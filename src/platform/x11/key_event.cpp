#include "platform/key_event.h"

#include "platform/x11/display.h"
#include "platform/x11/key_map.h"

namespace quillo::platform {

std::uint32_t virtualKeyOfEvent(std::uint32_t nativeScanCode, std::uint32_t /*nativeVirtualKey*/)
{
    const x11::Connection connection;
    if (!connection || nativeScanCode >= x11::keycodeCount)
        return 0;
    return x11::KeyMap(connection.get()).virtualKey(nativeScanCode);
}

} // namespace quillo::platform

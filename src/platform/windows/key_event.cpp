#include "platform/key_event.h"

namespace quillo::platform {

std::uint32_t virtualKeyOfEvent(std::uint32_t /*nativeScanCode*/, std::uint32_t nativeVirtualKey)
{
    return nativeVirtualKey;
}

} // namespace quillo::platform

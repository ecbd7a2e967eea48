#pragma once

#include <cstdint>

namespace quillo::platform {

/// The virtual-key code of the key of a keyboard event, as the present keyboard layout has it, whatever the modifiers
/// make it type; 0 when it is not known. Of the two native codes that the toolkit's event carries each system needs
/// one. Any thread; costs about a millisecond.
std::uint32_t virtualKeyOfEvent(std::uint32_t nativeScanCode, std::uint32_t nativeVirtualKey);

} // namespace quillo::platform

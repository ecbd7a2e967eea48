#pragma once

#include "platform/keys.h"

namespace quillo::platform {

enum class ProbeResult {
    Available,
    HeldByAnother, ///< another program has registered exactly this combination
    Failed, ///< the system could not tell
};

/// Tries to register the combination and gives it up again at once. A combination that this process watches with its
/// own KeyboardHook counts as available. Any thread.
ProbeResult probeHotkey(const KeyCombination& combination);

} // namespace quillo::platform

#include "platform/hotkey_probe.h"

#include <windows.h>

namespace quillo::platform {
namespace {

constexpr int probeId = 0xBFFF; // the highest id that applications may use

static_assert(modAlt == MOD_ALT && modCtrl == MOD_CONTROL && modShift == MOD_SHIFT && modWin == MOD_WIN);

} // namespace

ProbeResult probeHotkey(const KeyCombination& combination)
{
    const UINT modifiers = combination.modifiers & (modAlt | modCtrl | modShift | modWin);
    if (RegisterHotKey(nullptr, probeId, modifiers, combination.virtualKey)) {
        UnregisterHotKey(nullptr, probeId);
        return ProbeResult::Available;
    }
    return GetLastError() == ERROR_HOTKEY_ALREADY_REGISTERED ? ProbeResult::HeldByAnother : ProbeResult::Failed;
}

} // namespace quillo::platform

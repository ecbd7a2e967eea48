#include "hotkey/hotkey_availability.h"

#include "platform/hotkey_probe.h"

#include <algorithm>

namespace quillo {

namespace {

using namespace platform;

constexpr Hotkey reservedHotkeys[] = {
    {modCtrl | modAlt, vk::del},
    {modWin, 'L'},
    {modCtrl | modShift, vk::escape},
    {modCtrl, vk::escape},
    {modAlt, vk::tab},
    {modAlt | modShift, vk::tab},
    {modAlt, vk::escape},
    {modAlt, vk::f4},
    {modWin, vk::tab},
    {modWin, 'D'},
    {modWin, 'E'},
    {modWin, 'R'},
};

} // namespace

HotkeyStatus checkHotkeyAvailability(const Hotkey& hotkey)
{
    if (std::ranges::find(reservedHotkeys, hotkey) != std::end(reservedHotkeys))
        return HotkeyStatus::ReservedBySystem;
    return probeHotkey(hotkey) == ProbeResult::HeldByAnother ? HotkeyStatus::RegisteredElsewhere
                                                             : HotkeyStatus::Available;
}

} // namespace quillo

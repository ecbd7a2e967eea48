#include "platform/hotkey_probe.h"

#include "platform/x11/display.h"
#include "platform/x11/hotkey_grabs.h"
#include "platform/x11/key_map.h"

#include <algorithm>
#include <vector>

#include <X11/extensions/XInput2.h>

namespace quillo::platform {
namespace {

bool refusedByCore(x11::Connection& connection, unsigned keycode, unsigned state)
{
    return !connection
                .failuresOf([&] {
                    XGrabKey(connection.get(), static_cast<int>(keycode), state, connection.root(), False,
                        GrabModeAsync, GrabModeAsync);
                })
                .empty();
}

// The two kinds of grab do not conflict with each other, and desktop shells use this one.
bool refusedByInputExtension(x11::Connection& connection, unsigned keycode, unsigned state)
{
    int major = 2;
    int minor = 2;
    if (XIQueryVersion(connection.get(), &major, &minor) != Success)
        return false;
    unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
    XISetMask(bits, XI_KeyPress);
    XIEventMask mask{XIAllMasterDevices, sizeof bits, bits};
    XIGrabModifiers modifiers{static_cast<int>(state), 0};
    int refused = 0;
    const auto failures = connection.failuresOf([&] {
        refused = XIGrabKeycode(connection.get(), XIAllMasterDevices, static_cast<int>(keycode), connection.root(),
            XIGrabModeAsync, XIGrabModeAsync, False, &mask, 1, &modifiers);
    });
    return failures.empty() && refused > 0;
}

} // namespace

ProbeResult probeHotkey(const KeyCombination& combination)
{
    x11::Connection connection; // its closing gives the trial grabs up
    if (!connection)
        return ProbeResult::Failed;
    const x11::KeyMap keys(connection.get());
    const std::vector<unsigned> keycodes = keys.keycodes(combination.virtualKey);
    const unsigned state = keys.exactState(combination.modifiers);
    if (keycodes.empty() || !keys.holds(state, combination.modifiers))
        return ProbeResult::Failed;

    const bool held = std::any_of(keycodes.begin(), keycodes.end(), [&](unsigned keycode) {
        return (!x11::grabbedHere(keycode, state) && refusedByCore(connection, keycode, state))
            || refusedByInputExtension(connection, keycode, state);
    });
    if (connection.lost())
        return ProbeResult::Failed;
    return held ? ProbeResult::HeldByAnother : ProbeResult::Available;
}

} // namespace quillo::platform

#include "platform/clipboard.h"

#include "platform/x11/display.h"
#include "platform/x11/hotkey_grabs.h"
#include "platform/x11/key_map.h"
#include "platform/x11/selection_owner.h"

#include <chrono>
#include <thread>
#include <vector>

#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

namespace quillo::platform {
namespace {

constexpr std::chrono::milliseconds releasePatience{1000};
constexpr std::chrono::milliseconds releaseCheck{10};
constexpr unsigned usualControlKeycode = 37;
constexpr unsigned usualVKeycode = 55;

x11::SelectionOwner& clipboard()
{
    static x11::SelectionOwner instance;
    return instance;
}

std::vector<unsigned> heldModifiers(Display* display, const x11::KeyMap& keys)
{
    const auto down = x11::keysDown(display);
    std::vector<unsigned> held;
    for (unsigned keycode = 0; keycode < x11::keycodeCount; ++keycode)
        if (down[keycode] && x11::modifierOf(keys.virtualKey(keycode)))
            held.push_back(keycode);
    return held;
}

void fakeKey(Display* display, unsigned keycode, bool down)
{
    XTestFakeKeyEvent(display, keycode, down, CurrentTime);
}

} // namespace

bool setClipboardText(const std::string& utf8)
{
    return clipboard().setText(utf8);
}

void sendPasteShortcut()
{
    x11::Connection connection;
    int unused = 0;
    if (!connection || !XTestQueryExtension(connection.get(), &unused, &unused, &unused, &unused))
        return;
    Display* const display = connection.get();
    const x11::KeyMap keys(display);

    const auto deadline = std::chrono::steady_clock::now() + releasePatience;
    std::vector<unsigned> held = heldModifiers(display, keys);
    // A user who holds the hotkey dictates again: lifting those keys would end that recording.
    while (!held.empty() && connection && (x11::hotkeyHeldHere() || std::chrono::steady_clock::now() < deadline)) {
        std::this_thread::sleep_for(releaseCheck);
        held = heldModifiers(display, keys);
    }
    // What is still held would make another shortcut of it. It is not pressed again afterwards: the user may have let
    // go meanwhile, and it would stay down.
    for (const unsigned keycode : held)
        fakeKey(display, keycode, false);

    const std::vector<unsigned> controls = keys.keycodes(vk::leftControl);
    const unsigned control = controls.empty() ? usualControlKeycode : controls.front();
    const unsigned letter = x11::keycodeTyping(display, XK_v, usualVKeycode);
    clipboard().expectPaste();
    fakeKey(display, control, true);
    fakeKey(display, letter, true);
    fakeKey(display, letter, false);
    fakeKey(display, control, false);
    XSync(display, False);
}

void settleClipboard()
{
    clipboard().settle();
}

} // namespace quillo::platform

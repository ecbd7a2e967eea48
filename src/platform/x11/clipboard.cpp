#include "platform/clipboard.h"

#include "platform/keys.h"
#include "platform/x11/display.h"
#include "platform/x11/hotkey_grabs.h"
#include "platform/x11/key_map.h"
#include "platform/x11/selection_owner.h"

#include <bitset>
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
    // Never destroyed: a dictation may still use it while the process's static objects go.
    static auto* const instance = new x11::SelectionOwner;
    return *instance;
}

using KeysDown = std::bitset<x11::keycodeCount>;

std::vector<unsigned> modifiersIn(const KeysDown& down, const x11::KeyMap& keys)
{
    std::vector<unsigned> held;
    for (unsigned keycode = 0; keycode < x11::keycodeCount; ++keycode)
        if (down[keycode] && modifierOf(keys.virtualKey(keycode)))
            held.push_back(keycode);
    return held;
}

// The hook may not have heard of it yet.
bool holdsHotkey(const KeysDown& down)
{
    for (unsigned keycode = 0; keycode < x11::keycodeCount; ++keycode)
        if (down[keycode] && x11::isWatchedHere(keycode))
            return true;
    return false;
}

/// While one exists, no other program's requests are served.
class ServerGrab {
public:
    explicit ServerGrab(Display* display)
        : display_(display)
    {
        XGrabServer(display_);
    }
    ~ServerGrab()
    {
        XUngrabServer(display_);
        XSync(display_, False);
    }
    ServerGrab(const ServerGrab&) = delete;
    ServerGrab& operator=(const ServerGrab&) = delete;

private:
    Display* display_;
};

void fakeKey(Display* display, unsigned keycode, bool down)
{
    XTestFakeKeyEvent(display, keycode, down, CurrentTime);
}

/// Sends the shortcut unless the user holds keys that would spoil it, or that it would spoil; those of the first kind
/// only count until the deadline.
bool sendIfFree(Display* display, const x11::KeyMap& keys, unsigned control, unsigned letter,
    std::chrono::steady_clock::time_point deadline)
{
    const KeysDown down = x11::keysDown(display);
    const std::vector<unsigned> modifiers = modifiersIn(down, keys);
    if ((!modifiers.empty() || holdsHotkey(down)) && std::chrono::steady_clock::now() < deadline)
        return false;
    // What is still held would make another shortcut of it. It is not pressed again afterwards: the user may have let
    // go meanwhile, and it would stay down.
    for (const unsigned keycode : modifiers)
        fakeKey(display, keycode, false);
    clipboard().expectPaste();
    fakeKey(display, control, true);
    fakeKey(display, letter, true);
    fakeKey(display, letter, false);
    fakeKey(display, control, false);
    return true;
}

} // namespace

bool setClipboardText(const std::string& utf8)
{
    return clipboard().setText(utf8);
}

bool sendPasteShortcut(const std::function<bool()>& mayBeSent)
{
    if (!mayBeSent())
        return false;
    x11::Connection connection;
    int unused = 0;
    if (!connection || !XTestQueryExtension(connection.get(), &unused, &unused, &unused, &unused))
        return true;
    Display* const display = connection.get();
    const x11::KeyMap keys(display);
    const std::vector<unsigned> controls = keys.keycodes(vk::leftControl);
    const unsigned control = controls.empty() ? usualControlKeycode : controls.front();
    const unsigned letter = x11::keycodeTyping(display, XK_v, usualVKeycode);

    const auto deadline = std::chrono::steady_clock::now() + releasePatience;
    while (connection) {
        if (!mayBeSent())
            return false;
        if (const ServerGrab grab(display); sendIfFree(display, keys, control, letter, deadline))
            return true;
        std::this_thread::sleep_for(releaseCheck);
    }
    return true;
}

void handOverClipboard()
{
    clipboard().handOver();
}

} // namespace quillo::platform

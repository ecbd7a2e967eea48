#include "platform/x11/key_watch.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <X11/XKBlib.h>
#include <X11/extensions/XInput2.h>
#include <poll.h>

namespace quillo::platform::x11 {
namespace {

// An unsided code stands for both keys of its pair.
bool matches(std::uint32_t asked, std::uint32_t key)
{
    const bool unsided = asked == vk::shift || asked == vk::control || asked == vk::menu;
    return key == asked || (unsided && modifierOf(key) == modifierOf(asked));
}

bool selectRawKeys(const Connection& connection)
{
    // Since version 2.1 raw events come also while other clients have the keyboard grabbed.
    int major = 2;
    int minor = 2;
    if (XIQueryVersion(connection.get(), &major, &minor) != Success)
        return false;
    unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
    XISetMask(bits, XI_RawKeyPress);
    XISetMask(bits, XI_RawKeyRelease);
    XIEventMask mask{XIAllMasterDevices, sizeof bits, bits};
    return XISelectEvents(connection.get(), connection.root(), &mask, 1) == Success;
}

} // namespace

KeyWatch::KeyWatch(const KeyCombination& watched, KeyboardHook::Handler handler)
    : watched_(watched)
    , handler_(std::move(handler))
    , error_(start())
{
}

int KeyWatch::start()
{
    if (!connection_)
        return ECONNREFUSED;
    Display* const display = connection_.get();
    int firstEvent = 0;
    int firstError = 0;
    int opcode = 0;
    if (!XQueryExtension(display, "XInputExtension", &xinput_, &firstEvent, &firstError) || !selectRawKeys(connection_)
        || !XkbQueryExtension(display, &opcode, &xkb_, &firstError, nullptr, nullptr))
        return ENOSYS;
    // Without this every repeat would look like a release and a press.
    XkbSetDetectableAutoRepeat(display, True, nullptr);
    XkbSelectEventDetails(display, XkbUseCoreKbd, XkbStateNotify, XkbGroupStateMask, XkbGroupStateMask);
    down_ = keysDown(display);
    reloadKeys();
    return connection_.lost() ? ECONNRESET : 0;
}

void KeyWatch::run(const std::atomic<bool>& running, const EventFd& wake)
{
    pollfd sources[] = {{connection_.fd(), POLLIN, 0}, {wake.fd(), POLLIN, 0}};
    while (running && !connection_.lost()) {
        while (running && XPending(connection_.get()) > 0) {
            XEvent event;
            XNextEvent(connection_.get(), &event);
            if (connection_.lost())
                return;
            dispatch(event);
        }
        if (!running || connection_.lost())
            return;
        poll(sources, std::size(sources), -1);
        if (sources[1].revents)
            wake.clear();
    }
}

bool KeyWatch::isDown(std::uint32_t virtualKey) const
{
    // A modifier can be in force with no key down: locked or latched, as accessibility tools do.
    const std::uint32_t modifier = modifierOf(virtualKey);
    const bool sided = virtualKey >= vk::leftShift && virtualKey <= vk::rightMenu;
    if (eventState_ && modifier && !sided && keys_.holds(eventState_, modifier))
        return true;
    for (unsigned keycode = 0; keycode < keycodeCount; ++keycode)
        if (down_[keycode] && matches(virtualKey, keys_.virtualKey(keycode)))
            return true;
    return false;
}

void KeyWatch::dispatch(XEvent& event)
{
    Display* const display = connection_.get();
    if (event.type == GenericEvent && event.xcookie.extension == xinput_) {
        if (XGetEventData(display, &event.xcookie)) {
            onRaw(event);
            XFreeEventData(display, &event.xcookie);
        }
    } else if (event.type == KeyPress || event.type == KeyRelease) {
        onDiverted(event.xkey);
    } else if (event.type == MappingNotify) {
        XRefreshKeyboardMapping(&event.xmapping);
        if (event.xmapping.request != MappingPointer)
            reloadKeys();
    } else if (event.type == xkb_) { // another layout of the keyboard became active
        reloadKeys();
    }
}

void KeyWatch::onRaw(const XEvent& event)
{
    const auto* const raw = static_cast<const XIRawEvent*>(event.xcookie.data);
    const auto keycode = static_cast<unsigned>(raw->detail);
    if (keycode >= keycodeCount)
        return;
    const bool down = raw->evtype == XI_RawKeyPress;
    deliver(keycode, down);
    if (!down)
        afterUp(keycode);
    XFlush(connection_.get());
}

void KeyWatch::onDiverted(const XKeyEvent& event)
{
    const bool down = event.type == KeyPress;
    eventState_ = event.state;
    const bool swallowed = deliver(event.keycode, down);
    eventState_ = 0;
    if (!down)
        afterUp(event.keycode);
    else if (swallowed && presses_[event.keycode] == Press::Free)
        presses_[event.keycode] = Press::Swallowed;

    if (down && !grabKey_ && !holdsKeyboard_)
        grabKey_ = event.keycode;
    if (!down && event.keycode == grabKey_)
        grabKey_ = 0; // this has ended the grab already: the keyboard does not stand still
    else if (swallowed)
        swallow(event);
    else
        passOn(event);
    XFlush(connection_.get());
}

// Whether the event is to be swallowed. Whatever the handler does, the keyboard gets its answer.
bool KeyWatch::deliver(unsigned keycode, bool down)
{
    down_[keycode] = down;
    if (down && presses_[keycode] == Press::Spent)
        return true;
    const std::uint32_t key = keys_.virtualKey(keycode);
    return ask(key, down) && key == watched_.virtualKey;
}

bool KeyWatch::ask(std::uint32_t virtualKey, bool down)
{
    try {
        return handler_({virtualKey, down});
    } catch (...) {
        return false;
    }
}

void KeyWatch::afterUp(unsigned keycode)
{
    presses_[keycode] = Press::Free;
    if (modifierOf(keys_.virtualKey(keycode)))
        std::replace(presses_.begin(), presses_.end(), Press::Swallowed, Press::Spent);
    // Still before the modifier's key-up is replayed: from then on repeats would reach the application.
    if (any(Press::Spent))
        grabs_.takeEveryState();
    else
        grabs_.dropOtherStates();
}

bool KeyWatch::any(Press press) const
{
    return std::find(presses_.begin(), presses_.end(), press) != presses_.end();
}

// The requests below carry the event's time: should another event of ours have stopped the keyboard since, the server
// ignores them, and that event's own turn comes.

void KeyWatch::swallow(const XKeyEvent& event)
{
    if (presses_[event.keycode] == Press::Spent)
        holdKeyboard(event.time); // else its key-up, which ends the grab of the key, could not be passed on
    else if (event.type == KeyRelease && std::exchange(holdsKeyboard_, false))
        XUngrabKeyboard(connection_.get(), event.time);
    else
        XAllowEvents(connection_.get(), SyncKeyboard, event.time); // stands still again after the next event
}

void KeyWatch::passOn(const XKeyEvent& event)
{
    XAllowEvents(connection_.get(), ReplayKeyboard, event.time); // ends the grab
    holdsKeyboard_ = false;
    grabKey_ = 0;
    if (any(Press::Swallowed))
        holdKeyboard(event.time); // else the main key's key-up would reach the application
}

void KeyWatch::holdKeyboard(Time time)
{
    Display* const display = connection_.get();
    if (!holdsKeyboard_)
        holdsKeyboard_ =
            XGrabKeyboard(display, connection_.root(), False, GrabModeAsync, GrabModeSync, time) == GrabSuccess;
    if (holdsKeyboard_)
        grabKey_ = 0;
    XAllowEvents(display, SyncKeyboard, time);
}

void KeyWatch::reloadKeys()
{
    const KeyMap before = std::exchange(keys_, KeyMap(connection_.get()));
    if (keys_ == before)
        return;
    for (unsigned keycode = 0; keycode < keycodeCount; ++keycode) {
        if (presses_[keycode] == Press::Free || keys_.virtualKey(keycode) == watched_.virtualKey)
            continue;
        // The key that was held as the main key is another key now: its key-up would go unrecognised.
        if (std::exchange(presses_[keycode], Press::Free) == Press::Swallowed)
            ask(watched_.virtualKey, false);
    }
    grabs_.take(keys_, watched_);
    if (any(Press::Spent))
        grabs_.takeEveryState();
}

} // namespace quillo::platform::x11

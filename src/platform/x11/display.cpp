#include "platform/x11/display.h"

#include "platform/x11/leave.h"

#include <atomic>
#include <map>
#include <mutex>
#include <utility>

namespace quillo::platform::x11 {
namespace {

// Xlib has one error handler for all connections of the process, so ours must know which of them are ours.
struct Registry {
    std::mutex mutex;
    std::map<Display*, Connection*> connections;
    std::atomic<XErrorHandler> nextError = nullptr;
};

// Never destroyed: connections may be closed while the process's static objects are.
Registry& registry()
{
    static auto* const instance = new Registry;
    return *instance;
}

int onError(Display* display, XErrorEvent* event)
{
    {
        const std::lock_guard lock(registry().mutex);
        const auto found = registry().connections.find(display);
        if (found != registry().connections.end()) {
            found->second->noteError(event->serial);
            return 0;
        }
    }
    const XErrorHandler next = registry().nextError;
    return next ? next(display, event) : 0;
}

int onIoError(Display* display)
{
    {
        const std::lock_guard lock(registry().mutex);
        if (registry().connections.contains(display))
            return 0;
    }
    leaveWithoutDisplay(); // its owner's handler would leave through exit()
}

// At every opening, because a toolkit may have put its own handlers in place since.
void installHandlers()
{
    if (const XErrorHandler previous = XSetErrorHandler(onError); previous != onError)
        registry().nextError = previous;
    XSetIOErrorHandler(onIoError);
}

} // namespace

Connection::Connection()
{
    static std::once_flag once;
    std::call_once(once, [] { XInitThreads(); });
    display_ = XOpenDisplay(nullptr);
    if (!display_)
        return;
    {
        const std::lock_guard lock(registry().mutex);
        registry().connections.insert_or_assign(display_, this);
    }
    installHandlers();
    const auto markLost = [](Display*, void* self) { static_cast<Connection*>(self)->lost_ = true; };
    XSetIOErrorExitHandler(display_, markLost, this);
}

Connection::~Connection()
{
    if (!display_)
        return;
    XCloseDisplay(display_);
    const std::lock_guard lock(registry().mutex);
    // Another thread's new connection may have got the same address meanwhile.
    if (const auto found = registry().connections.find(display_);
        found != registry().connections.end() && found->second == this)
        registry().connections.erase(found);
}

std::vector<unsigned long> Connection::failuresOf(const std::function<void()>& requests)
{
    failures_.clear();
    recording_ = true;
    requests();
    XSync(display_, False);
    recording_ = false;
    return std::exchange(failures_, {});
}

void Connection::noteError(unsigned long serial)
{
    if (recording_)
        failures_.push_back(serial);
}

} // namespace quillo::platform::x11

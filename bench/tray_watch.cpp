// Sees icons come to the tray: prints "watching" once the X server has a place for them and then, for each icon that
// can be seen there, "visible" and the monotonic time in nanoseconds at which the server's word of it arrived. An icon
// is any window that leaves the root window for another and is, or gets, mapped: start it beside a tray alone.
#include <X11/Xlib.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <set>
#include <thread>

namespace {

struct CloseDisplay {
    void operator()(Display* display) const { XCloseDisplay(display); }
};

void waitForTray(Display* display)
{
    const Atom tray = XInternAtom(display, "_NET_SYSTEM_TRAY_S0", False);
    while (XGetSelectionOwner(display, tray) == None)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

void reportVisible()
{
    const auto now = std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch());
    std::printf("visible %lld\n", static_cast<long long>(now.count()));
    std::fflush(stdout);
}

bool isVisible(Display* display, Window window)
{
    XWindowAttributes attributes{};
    return XGetWindowAttributes(display, window, &attributes) && attributes.map_state == IsViewable;
}

} // namespace

int main()
{
    const std::unique_ptr<Display, CloseDisplay> display(XOpenDisplay(nullptr));
    if (!display)
        return 1;
    XSetErrorHandler([](Display*, XErrorEvent*) { return 0; }); // windows may be gone before they are looked at
    const Window root = DefaultRootWindow(display.get());
    waitForTray(display.get());
    XSelectInput(display.get(), root, SubstructureNotifyMask);
    XSync(display.get(), False);
    std::puts("watching");
    std::fflush(stdout);

    std::set<Window> docked; // and not visible yet
    for (XEvent event;;) {
        XNextEvent(display.get(), &event);
        if (event.type == ReparentNotify && event.xreparent.event == root && event.xreparent.parent != root) {
            XSelectInput(display.get(), event.xreparent.window, StructureNotifyMask);
            docked.insert(event.xreparent.window);
        } else if (event.type != MapNotify)
            continue;
        std::erase_if(docked, [&](Window window) {
            const bool visible = isVisible(display.get(), window);
            if (visible)
                reportVisible();
            return visible;
        });
    }
}

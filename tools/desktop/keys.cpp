// Presses keys, occupies hotkeys and cuts connections for the end-to-end tests: `desktop_keys`, commands on standard
// input, one a line:
//
//   down KEYSYM, up KEYSYM         through XTest, as any program can
//   hw down KEYSYM, hw up KEYSYM   on the server's hardware keyboard, as a person does
//   grab KEYSYM, ungrab KEYSYM     own the combination of Ctrl+Shift and this key, as another program's hotkey
//   grab keyboard, ungrab keyboard   own all the keys, as a screen lock or an open menu does
//   connections PID                before the answer a line "connections", and of each X connection of the process an
//                                  id and how many things it has in the server, grabs included
//   disconnect ID                  cuts the connection that the id belongs to
//
// Each command is answered by one line: "ok" and the monotonic time in nanoseconds just before the server was asked,
// or "error" and the reason.

#include <X11/Xlib.h>
#include <X11/extensions/XInput.h>
#include <X11/extensions/XInput2.h>
#include <X11/extensions/XRes.h>
#include <X11/extensions/XTest.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

namespace {

struct CloseDisplay {
    void operator()(Display* display) const { XCloseDisplay(display); }
};

bool refused = false;

int noteError(Display*, XErrorEvent*)
{
    refused = true;
    return 0;
}

/// The keyboard that stands for real hardware: the slave that is not XTest's own. Lives as long as the display.
XDevice* openHardwareKeyboard(Display* display)
{
    int major = 2;
    int minor = 2;
    XIQueryVersion(display, &major, &minor);
    int count = 0;
    XIDeviceInfo* devices = XIQueryDevice(display, XIAllDevices, &count);
    XDevice* keyboard = nullptr;
    for (int i = 0; i < count && !keyboard; ++i) {
        const bool isXTest = std::string(devices[i].name).find("XTEST") != std::string::npos;
        if (devices[i].use == XISlaveKeyboard && !isXTest)
            keyboard = XOpenDevice(display, static_cast<XID>(devices[i].deviceid));
    }
    XIFreeDeviceInfo(devices);
    return keyboard;
}

int countResources(Display* display, XID client)
{
    int kinds = 0;
    XResType* types = nullptr;
    if (!XResQueryClientResources(display, client, &kinds, &types))
        return 0;
    int sum = 0;
    for (int i = 0; i < kinds; ++i)
        sum += static_cast<int>(types[i].count);
    XFree(types);
    return sum;
}

// A connection is named by its first resource, the graphics context that Xlib makes for the screen.
std::string printConnections(Display* display, pid_t process)
{
    int count = 0;
    XResClient* clients = nullptr;
    if (!XResQueryClients(display, &count, &clients))
        return "the server does not name its clients";
    std::printf("connections");
    for (int i = 0; i < count; ++i) {
        XResClientIdSpec wanted{clients[i].resource_base, XRES_CLIENT_ID_PID_MASK};
        long idCount = 0;
        XResClientIdValue* ids = nullptr;
        if (XResQueryClientIds(display, 1, &wanted, &idCount, &ids) != Success)
            continue;
        if (idCount == 1 && XResGetClientPid(ids) == process)
            std::printf(" %lu %d", clients[i].resource_base, countResources(display, clients[i].resource_base));
        XResClientIdsDestroy(idCount, ids);
    }
    std::printf("\n");
    XFree(clients);
    return {};
}

std::string own(Display* display, bool keyboard)
{
    if (!keyboard)
        XUngrabKeyboard(display, CurrentTime);
    else if (XGrabKeyboard(display, DefaultRootWindow(display), False, GrabModeAsync, GrabModeAsync, CurrentTime)
        != GrabSuccess)
        return "the keyboard is grabbed already";
    XSync(display, False);
    return {};
}

/// Carries out one command; returns the reason of a failure, empty on success.
std::string carryOut(Display* display, XDevice* hardware, const std::string& line)
{
    std::istringstream words(line);
    std::string verb;
    std::string key;
    words >> verb;
    const bool onHardware = verb == "hw";
    if (onHardware)
        words >> verb;
    words >> key;
    if (verb == "connections")
        return printConnections(display, std::stoi(key));
    if (key == "keyboard")
        return own(display, verb == "grab");
    const KeyCode code = XKeysymToKeycode(display, XStringToKeysym(key.c_str()));
    if (code == 0 && verb != "disconnect")
        return "no such key: " + key;

    refused = false;
    if (verb == "disconnect")
        XKillClient(display, std::stoul(key));
    else if (verb == "grab")
        XGrabKey(
            display, code, ControlMask | ShiftMask, DefaultRootWindow(display), False, GrabModeAsync, GrabModeAsync);
    else if (verb == "ungrab")
        XUngrabKey(display, code, ControlMask | ShiftMask, DefaultRootWindow(display));
    else if (verb != "down" && verb != "up")
        return "no such command: " + line;
    else if (onHardware)
        XTestFakeDeviceKeyEvent(display, hardware, code, verb == "down", nullptr, 0, CurrentTime);
    else
        XTestFakeKeyEvent(display, code, verb == "down", CurrentTime);
    XSync(display, False);
    return refused ? "the server refused: " + line : std::string();
}

} // namespace

int main()
{
    const std::unique_ptr<Display, CloseDisplay> display(XOpenDisplay(nullptr));
    XDevice* hardware = display ? openHardwareKeyboard(display.get()) : nullptr;
    if (!hardware) {
        std::fprintf(stderr, "no X display with a hardware keyboard\n");
        return 1;
    }
    XSetErrorHandler(noteError);
    for (std::string line; std::getline(std::cin, line);) {
        const std::chrono::nanoseconds now = std::chrono::steady_clock::now().time_since_epoch();
        const std::string failure = carryOut(display.get(), hardware, line);
        if (failure.empty())
            std::printf("ok %lld\n", static_cast<long long>(now.count()));
        else
            std::printf("error %s\n", failure.c_str());
        std::fflush(stdout);
    }
    return 0;
}

// Presses keys and occupies hotkeys for the end-to-end tests: `desktop_keys`, commands on standard input, one a line:
//
//   down KEYSYM, up KEYSYM         through XTest, as any program can
//   hw down KEYSYM, hw up KEYSYM   on the server's hardware keyboard, as a person does
//   grab KEYSYM, ungrab KEYSYM     own the combination of Ctrl+Shift and this key, as another program's hotkey
//
// Each command is answered by one line: "ok" and the monotonic time in nanoseconds just before the server was asked,
// or "error" and the reason.

#include <X11/Xlib.h>
#include <X11/extensions/XInput.h>
#include <X11/extensions/XInput2.h>
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
    const KeyCode code = XKeysymToKeycode(display, XStringToKeysym(key.c_str()));
    if (code == 0)
        return "no such key: " + key;

    refused = false;
    if (verb == "grab")
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

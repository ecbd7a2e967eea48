#include "desktop/typist.h"

#include <string_view>

#include <X11/extensions/XTest.h>

namespace quillo::desktop {

Typist::Typist(Display* display)
    : display_(display)
    , hardware_(nullptr, CloseDevice{display})
{
    int count = 0;
    XDeviceInfo* const devices = XListInputDevices(display, &count);
    for (int i = 0; i < count && !hardware_; ++i)
        if (devices[i].use == IsXExtensionKeyboard && !std::string_view(devices[i].name).ends_with("XTEST keyboard"))
            hardware_.reset(XOpenDevice(display, devices[i].id));
    XFreeDeviceList(devices);
}

unsigned Typist::keycode(const std::string& keysym) const
{
    return XKeysymToKeycode(display_, XStringToKeysym(keysym.c_str()));
}

void Typist::send(Keyboard keyboard, unsigned keycode, bool down) const
{
    if (keyboard == Keyboard::Hardware)
        XTestFakeDeviceKeyEvent(display_, hardware_.get(), keycode, down, nullptr, 0, CurrentTime);
    else
        XTestFakeKeyEvent(display_, keycode, down, CurrentTime);
    XSync(display_, False);
}

} // namespace quillo::desktop

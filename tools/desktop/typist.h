#pragma once

#include <memory>
#include <string>

#include <X11/Xlib.h>
#include <X11/extensions/XInput.h>

namespace quillo::desktop {

/// A user at the keyboard of a private X server. Keys are named by keysym. One thread.
class Typist {
public:
    /// Through XTest, as any program presses keys, or at the hardware, as a person does.
    enum class Keyboard { XTest, Hardware };

    /// The display must outlive it.
    explicit Typist(Display* display);

    /// Whether the server has a keyboard besides that of XTest.
    bool hasHardware() const { return hardware_ != nullptr; }

    /// 0: no key of the keyboard types that.
    unsigned keycode(const std::string& keysym) const;

    /// Returns when the server has taken the event.
    void send(Keyboard keyboard, unsigned keycode, bool down) const;

private:
    struct CloseDevice {
        Display* display = nullptr;
        void operator()(XDevice* device) const { XCloseDevice(display, device); }
    };

    Display* display_;
    std::unique_ptr<XDevice, CloseDevice> hardware_;
};

} // namespace quillo::desktop

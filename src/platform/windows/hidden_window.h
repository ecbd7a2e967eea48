#pragma once

#include <windows.h>

#include <functional>
#include <memory>
#include <type_traits>

namespace quillo::platform {

/// A window that nobody sees, for what the system tells windows only. It is a real one: windows for messages only do
/// not hear of the end of the session, nor of other broadcasts. Belongs to the thread that created it.
class HiddenWindow {
public:
    /// Called for each message, out of the thread's message loop; returns true when nothing more is to be done for it.
    using Handler = std::function<bool(UINT message, WPARAM wParam)>;

    HiddenWindow(const wchar_t* className, Handler handler);
    HiddenWindow(const HiddenWindow&) = delete;
    HiddenWindow& operator=(const HiddenWindow&) = delete;

    HWND handle() const { return window_.get(); } ///< null when the system refused the window

private:
    static LRESULT CALLBACK windowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    struct Destroy {
        void operator()(HWND window) const { DestroyWindow(window); }
    };

    Handler handler_;
    std::unique_ptr<std::remove_pointer_t<HWND>, Destroy> window_;
};

} // namespace quillo::platform

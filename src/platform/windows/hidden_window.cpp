#include "platform/windows/hidden_window.h"

#include <utility>

namespace quillo::platform {

HiddenWindow::HiddenWindow(const wchar_t* className, Handler handler)
    : handler_(std::move(handler))
{
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof windowClass;
    windowClass.lpfnWndProc = &HiddenWindow::windowProc;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = className;
    RegisterClassExW(&windowClass); // a second object finds the class registered
    window_.reset(
        CreateWindowExW(0, className, L"Quillo", 0, 0, 0, 0, 0, nullptr, nullptr, windowClass.hInstance, nullptr));
    if (window_)
        SetWindowLongPtrW(window_.get(), GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
}

LRESULT CALLBACK HiddenWindow::windowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the system keeps the address as a number
    const auto* self = reinterpret_cast<const HiddenWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self && self->handler_(message, wParam))
        return 0;
    return DefWindowProcW(window, message, wParam, lParam);
}

} // namespace quillo::platform

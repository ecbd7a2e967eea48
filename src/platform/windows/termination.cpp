#include "platform/termination.h"

#include <windows.h>

#include <type_traits>
#include <utility>

namespace quillo::platform {
namespace {

constexpr wchar_t className[] = L"QuilloTermination";

struct WindowDestroy {
    void operator()(HWND window) const { DestroyWindow(window); }
};
using Window = std::unique_ptr<std::remove_pointer_t<HWND>, WindowDestroy>;

} // namespace

struct TerminationRequests::Impl {
    explicit Impl(std::function<void()> action)
        : onRequest(std::move(action))
    {
        WNDCLASSEXW windowClass{};
        windowClass.cbSize = sizeof windowClass;
        windowClass.lpfnWndProc = &Impl::windowProc;
        windowClass.hInstance = GetModuleHandleW(nullptr);
        windowClass.lpszClassName = className;
        RegisterClassExW(&windowClass); // a second object finds the class registered
        // A real, though hidden window: those for messages only do not hear of the end of the session.
        window.reset(
            CreateWindowExW(0, className, L"Quillo", 0, 0, 0, 0, 0, nullptr, nullptr, windowClass.hInstance, nullptr));
        if (window)
            SetWindowLongPtrW(window.get(), GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    }

    static LRESULT CALLBACK windowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    std::function<void()> onRequest;
    Window window;
};

LRESULT CALLBACK TerminationRequests::Impl::windowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the system keeps the address as a number
    auto* self = reinterpret_cast<Impl*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    const bool sessionEnds = message == WM_ENDSESSION && wParam != FALSE;
    if (!self || (!sessionEnds && message != WM_CLOSE))
        return DefWindowProcW(window, message, wParam, lParam); // which agrees when it is asked whether it may end
    self->onRequest();
    return 0;
}

TerminationRequests::TerminationRequests(std::function<void()> onRequest)
    : impl_(std::make_unique<Impl>(std::move(onRequest)))
{
}

TerminationRequests::~TerminationRequests() = default;

} // namespace quillo::platform

#include "platform/termination.h"

#include "platform/windows/hidden_window.h"

#include <atomic>
#include <utility>

namespace quillo::platform {
namespace {

std::atomic<HWND> endedByConsole{nullptr};

/// Ctrl+C in a console that Quillo was started from, or the end of that console. Runs on a thread of the system's; the
/// process is ended when it returns, unless for Ctrl+C and Ctrl+Break.
BOOL WINAPI onConsoleEvent(DWORD event)
{
    const HWND window = endedByConsole;
    if (!window || !PostMessageW(window, WM_CLOSE, 0, 0))
        return FALSE;
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT)
        Sleep(INFINITE); // the process ends by itself, or when the system has waited long enough
    return TRUE;
}

} // namespace

struct TerminationRequests::Impl {
    explicit Impl(std::function<void()> action)
        : onRequest(std::move(action))
    {
        endedByConsole = window.handle();
        SetConsoleCtrlHandler(&onConsoleEvent, TRUE);
    }
    ~Impl()
    {
        SetConsoleCtrlHandler(&onConsoleEvent, FALSE);
        endedByConsole = nullptr;
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    bool handle(UINT message, WPARAM wParam) const
    {
        const bool sessionEnds = message == WM_ENDSESSION && wParam != FALSE;
        if (!sessionEnds && message != WM_CLOSE)
            return false; // asked whether the session may end, the system's default agrees
        if (sessionEnds) // what the system shows while it waits for us
            ShutdownBlockReasonCreate(window.handle(), L"Finishing a dictation");
        onRequest();
        if (sessionEnds)
            ShutdownBlockReasonDestroy(window.handle());
        return true;
    }

    std::function<void()> onRequest;
    HiddenWindow window{L"QuilloTermination", [this](UINT message, WPARAM wParam) { return handle(message, wParam); }};
};

TerminationRequests::TerminationRequests(std::function<void()> onRequest)
    : impl_(std::make_unique<Impl>(std::move(onRequest)))
{
}

TerminationRequests::~TerminationRequests() = default;

} // namespace quillo::platform

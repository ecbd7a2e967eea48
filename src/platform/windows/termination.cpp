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
    explicit Impl(TerminationActions given)
        : actions(std::move(given))
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
        if (message == WM_CLOSE)
            actions.end();
        else if (message == WM_QUERYENDSESSION)
            whileSystemWaits(actions.finishWork);
        else if (message == WM_ENDSESSION && wParam != FALSE)
            whileSystemWaits(actions.end);
        else
            return false;
        return message != WM_QUERYENDSESSION; // the system's default agrees to the end
    }

    void whileSystemWaits(const std::function<void()>& action) const
    {
        ShutdownBlockReasonCreate(window.handle(), L"Finishing a dictation"); // what it shows meanwhile
        action();
        ShutdownBlockReasonDestroy(window.handle());
    }

    TerminationActions actions;
    HiddenWindow window{L"QuilloTermination", [this](UINT message, WPARAM wParam) { return handle(message, wParam); }};
};

TerminationRequests::TerminationRequests(TerminationActions actions)
    : impl_(std::make_unique<Impl>(std::move(actions)))
{
}

TerminationRequests::~TerminationRequests() = default;

} // namespace quillo::platform

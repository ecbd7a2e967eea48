#include "platform/windows/hook_watch.h"

#include <wtsapi32.h>

namespace quillo::platform {
namespace {

void registerRawKeyboard(DWORD flags, HWND window)
{
    const RAWINPUTDEVICE keyboard{1, 6, flags, window}; // usage page "generic desktop", usage "keyboard"
    RegisterRawInputDevices(&keyboard, 1, sizeof keyboard);
}

bool endsOrBeginsSleep(WPARAM powerEvent)
{
    return powerEvent == PBT_APMSUSPEND || powerEvent == PBT_APMRESUMEAUTOMATIC || powerEvent == PBT_APMRESUMESUSPEND;
}

} // namespace

HookWatch::HookWatch()
    : lossDetector_(HookLossDetector::Time::clock::now())
    , window_(L"QuilloHookWatch", [this](UINT message, WPARAM wParam) { return handle(message, wParam); })
{
    if (!window_.handle())
        return;
    power_.reset(RegisterSuspendResumeNotification(window_.handle(), DEVICE_NOTIFY_WINDOW_HANDLE));
    WTSRegisterSessionNotification(window_.handle(), NOTIFY_FOR_THIS_SESSION);
    registerRawKeyboard(RIDEV_INPUTSINK, window_.handle()); // also while other programs have the focus
}

HookWatch::~HookWatch()
{
    if (!window_.handle())
        return;
    registerRawKeyboard(RIDEV_REMOVE, nullptr);
    WTSUnRegisterSessionNotification(window_.handle());
}

bool HookWatch::handle(UINT message, WPARAM wParam)
{
    if (message == WM_POWERBROADCAST)
        lost_ |= endsOrBeginsSleep(wParam);
    else if (message == WM_WTSSESSION_CHANGE)
        lost_ = true;
    else if (message == WM_INPUT)
        lost_ |= lossDetector_.onRawKey(HookLossDetector::Time::clock::now());
    return message == WM_CLOSE; // meant for the process, which has another window for it
}

} // namespace quillo::platform

#include "platform/display_loss.h"

#include "platform/x11/leave.h"

#include <QGuiApplication>
#include <QThread>

#include <cstdio>
#include <cstdlib>

#include <xcb/xcb.h>

namespace quillo::platform {

void x11::leaveWithoutDisplay()
{
    std::fputs("[Quillo] ERROR: The connection to the X server is broken\n", stderr);
    std::_Exit(EXIT_FAILURE);
}

void leaveIfDisplayIsLost()
{
    const auto* application = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    if (!application || QThread::currentThread() != application->thread())
        return;
    const auto* x11 = application->nativeInterface<QNativeInterface::QX11Application>();
    if (x11 && xcb_connection_has_error(x11->connection()) != 0)
        x11::leaveWithoutDisplay();
}

} // namespace quillo::platform

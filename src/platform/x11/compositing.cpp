#include "platform/compositing.h"

#include "platform/x11/display.h"

#include <string>

namespace quillo::platform {

bool isCompositing()
{
    const x11::Connection connection;
    if (!connection)
        return true;
    // A compositing manager owns the selection of its screen for as long as it runs.
    const std::string selection = "_NET_WM_CM_S" + std::to_string(DefaultScreen(connection.get()));
    return XGetSelectionOwner(connection.get(), connection.atom(selection.c_str())) != None;
}

} // namespace quillo::platform

#include "platform/compositing.h"
#include "platform/x11/desktop.h"

namespace quillo::platform {
namespace {

TEST(Compositing, FollowsTheCompositingManager)
{
    const Connection manager = connect();
    Display* const display = manager.get();
    const Atom selection = XInternAtom(display, "_NET_WM_CM_S0", False);
    const Window window = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 1, 1, 0, 0, 0);
    EXPECT_FALSE(isCompositing());
    XSetSelectionOwner(display, selection, window, CurrentTime);
    XSync(display, False);
    EXPECT_TRUE(isCompositing());
    XDestroyWindow(display, window);
    XSync(display, False);
    EXPECT_FALSE(isCompositing());

    const NoServer gone;
    EXPECT_TRUE(isCompositing());
}

} // namespace
} // namespace quillo::platform

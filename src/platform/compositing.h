#pragma once

namespace quillo::platform {

/// Whether windows can be translucent on the desktop now: a compositing manager runs. It may come and go while the
/// program runs. Also true where there is no desktop to ask. Any thread; costs about a millisecond.
bool isCompositing();

} // namespace quillo::platform

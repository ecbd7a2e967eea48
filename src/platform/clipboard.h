#pragma once

#include <string>

namespace quillo::platform {

/// Replaces the content of the system clipboard by a UTF-8 text. Any thread; never waits for the user-interface
/// thread. False when another program holds the clipboard or the system refuses: what it held before may be lost.
bool setClipboardText(const std::string& utf8);

/// Sends the paste shortcut, Ctrl+V, to the window that has the keyboard focus. Any thread; failures are silent.
/// Where modifier keys that the user still holds would spoil the shortcut, waits up to a second for their release, and
/// longer while they hold down the combination of this process's own KeyboardHook.
void sendPasteShortcut();

/// To be called once before the process ends, after the last paste. Where the clipboard lives in the process that
/// filled it, waits, for a bounded time, until a paste that was sent has been served, and leaves the text with a
/// clipboard manager if there is one.
void settleClipboard();

} // namespace quillo::platform

#pragma once

#include <functional>
#include <string>

namespace quillo::platform {

/// Replaces the content of the system clipboard by a UTF-8 text. Any thread; never waits for the user-interface
/// thread. False when another program holds the clipboard or the system refuses: what it held before may be lost.
bool setClipboardText(const std::string& utf8);

/// Sends the paste shortcut, Ctrl+V, to the window that has the keyboard focus. Any thread; failures are silent.
/// Modifier keys that the user still holds would spoil the shortcut: waits up to a second for their release.
/// @param mayBeSent asked immediately before the keys, so that nothing comes between; also meanwhile
/// @return false, with nothing sent, as soon as mayBeSent says no
bool sendPasteShortcut(const std::function<bool()>& mayBeSent);

/// To be called once before the process ends, after the last paste. Where the clipboard lives in the process that
/// filled it, waits, for a bounded time, until a paste that was sent has been served, and leaves the text with a
/// clipboard manager if there is one.
void handOverClipboard();

} // namespace quillo::platform

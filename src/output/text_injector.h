#pragma once

#include <functional>
#include <string>

namespace quillo {

/// Puts a text into whatever application has the keyboard focus.
class TextInjector {
public:
    /// Places a UTF-8 text on the clipboard, waits 50 ms and sends the paste shortcut. What the clipboard held before
    /// is gone. An empty text leaves the clipboard alone. Failures are silent, and the shortcut is sent all the same:
    /// the text may then still be on the clipboard for the user to paste. Any thread, which it blocks; one at a time.
    /// @param mayBeSent whether the shortcut may be sent now; asked immediately before
    /// @param waitOn waits a moment when it may not; false: give up, the text stays on the clipboard
    static void paste(
        const std::string& text, const std::function<bool()>& mayBeSent, const std::function<bool()>& waitOn);
};

} // namespace quillo

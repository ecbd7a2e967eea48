#pragma once

#include <string>

namespace quillo {

/// Puts a text into whatever application has the keyboard focus.
class TextInjector {
public:
    /// Places a UTF-8 text on the clipboard, waits 50 ms and sends the paste shortcut. What the clipboard held before
    /// is gone. An empty text leaves the clipboard alone. Failures are silent, and the shortcut is sent in any case:
    /// the text may then still be on the clipboard for the user to paste. Any thread, which it blocks; one at a time.
    static void paste(const std::string& text);
};

} // namespace quillo

#include "output/text_injector.h"

#include "platform/clipboard.h"

#include <chrono>
#include <thread>

namespace quillo {

void TextInjector::paste(
    const std::string& text, const std::function<bool()>& mayBeSent, const std::function<bool()>& waitOn)
{
    using namespace std::chrono_literals;
    if (!text.empty())
        platform::setClipboardText(text);
    std::this_thread::sleep_for(50ms); // programs that watch the clipboard look at it before the shortcut arrives
    while (!platform::sendPasteShortcut(mayBeSent) && waitOn()) { }
}

} // namespace quillo

#include "platform/clipboard.h"

#include "platform/windows/utf16.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <memory>

namespace quillo::platform {
namespace {

// Programs that watch the clipboard open it for a moment after each change. One that holds it longer is not waited for.
constexpr int openAttempts = 10;
constexpr DWORD openPause = 10; // milliseconds

// A second in all.
constexpr int modifierChecks = 100;
constexpr DWORD modifierPause = 10; // milliseconds

bool openClipboard()
{
    for (int attempt = 1; !OpenClipboard(nullptr); ++attempt) {
        if (attempt == openAttempts)
            return false;
        Sleep(openPause);
    }
    return true;
}

class OpenedClipboard {
public:
    OpenedClipboard()
        : open_(openClipboard())
    {
    }
    ~OpenedClipboard()
    {
        if (open_)
            CloseClipboard();
    }
    OpenedClipboard(const OpenedClipboard&) = delete;
    OpenedClipboard& operator=(const OpenedClipboard&) = delete;

    explicit operator bool() const { return open_; }

private:
    bool open_;
};

struct GlobalMemoryFree {
    void operator()(HGLOBAL memory) const { GlobalFree(memory); }
};
using GlobalMemory = std::unique_ptr<void, GlobalMemoryFree>;

/// The text as zero-terminated UTF-16 in movable memory, as the clipboard wants it; empty when there is no memory.
GlobalMemory toClipboardMemory(const std::string& utf8)
{
    const std::wstring text = toUtf16(utf8);
    const std::size_t size = (text.size() + 1) * sizeof(wchar_t);
    GlobalMemory memory(GlobalAlloc(GMEM_MOVEABLE, size));
    void* const content = memory ? GlobalLock(memory.get()) : nullptr;
    if (!content)
        return nullptr;
    std::memcpy(content, text.c_str(), size);
    GlobalUnlock(memory.get());
    return memory;
}

bool isModifierHeld()
{
    // The shortcut's own as well: its key-up would end what the user holds Ctrl for, the hotkey above all.
    constexpr int modifiers[] = {VK_CONTROL, VK_SHIFT, VK_MENU, VK_LWIN, VK_RWIN};
    return std::any_of(std::begin(modifiers), std::end(modifiers), [](int key) { return GetAsyncKeyState(key) < 0; });
}

INPUT keystroke(WORD virtualKey, DWORD flags)
{
    INPUT input{};
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = virtualKey;
    input.ki.dwFlags = flags;
    return input;
}

} // namespace

bool setClipboardText(const std::string& utf8)
{
    const OpenedClipboard clipboard;
    if (!clipboard)
        return false;
    EmptyClipboard();
    GlobalMemory memory = toClipboardMemory(utf8);
    if (!memory || !SetClipboardData(CF_UNICODETEXT, memory.get()))
        return false;
    static_cast<void>(memory.release()); // the clipboard owns it now
    return true;
}

bool sendPasteShortcut(const std::function<bool()>& mayBeSent)
{
    for (int check = 0; check < modifierChecks && isModifierHeld() && mayBeSent(); ++check)
        Sleep(modifierPause);
    std::array keystrokes{
        keystroke(VK_CONTROL, 0),
        keystroke('V', 0),
        keystroke('V', KEYEVENTF_KEYUP),
        keystroke(VK_CONTROL, KEYEVENTF_KEYUP),
    };
    if (!mayBeSent())
        return false;
    // In one call: nothing comes between. A window with higher rights than ours gets none of it, which no result tells
    // reliably: the text stays on the clipboard in any case, for the user to paste.
    SendInput(static_cast<UINT>(keystrokes.size()), keystrokes.data(), sizeof(INPUT));
    return true;
}

void handOverClipboard()
{
    // The text lives in the system's clipboard, not in this process: a paste is served without us.
}

} // namespace quillo::platform

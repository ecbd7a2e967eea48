// Another Windows program's text field: `edit_window FILE`. FILE always holds the whole text, as UTF-8.
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

constexpr int fieldId = 1;

std::filesystem::path file; // set once, before the window exists

std::string toUtf8(const std::wstring& wide)
{
    std::string utf8(3 * wide.size(), '\0'); // UTF-8 never needs more bytes for a unit of UTF-16
    const int length = WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), utf8.data(),
        static_cast<int>(utf8.size()), nullptr, nullptr);
    utf8.resize(static_cast<std::size_t>(length));
    return utf8;
}

void save(HWND field)
{
    std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(field)), L'\0');
    GetWindowTextW(field, text.data(), static_cast<int>(text.size()) + 1);
    std::filesystem::path temporary = file;
    temporary += ".new";
    std::ofstream(temporary, std::ios::binary) << toUtf8(text);
    std::filesystem::rename(temporary, file);
}

LRESULT CALLBACK windowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    const HWND field = GetDlgItem(window, fieldId);
    if (message == WM_SETFOCUS)
        SetFocus(field);
    else if (message == WM_COMMAND && HIWORD(wParam) == EN_CHANGE)
        save(field);
    else if (message == WM_DESTROY)
        PostQuitMessage(0);
    else
        return DefWindowProcW(window, message, wParam, lParam);
    return 0;
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    if (argc != 2)
        return 2;
    file = argv[1];
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = windowProc;
    windowClass.lpszClassName = L"EditWindow";
    RegisterClassW(&windowClass);
    const HWND window = CreateWindowW(L"EditWindow", L"Text field", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 60, 320, 600, 160,
        nullptr, nullptr, nullptr, nullptr);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): an id in the place of a menu
    const HWND field = CreateWindowW(L"EDIT", L"", WS_CHILD | WS_VISIBLE | ES_MULTILINE | ES_AUTOVSCROLL, 0, 0, 600,
        160, window, reinterpret_cast<HMENU>(static_cast<LONG_PTR>(fieldId)), nullptr, nullptr);
    SetForegroundWindow(window);
    SetFocus(field);
    save(field);
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    return 0;
}

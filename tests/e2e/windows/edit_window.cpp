// Another Windows program's text field: `edit_window FILE`. FILE always holds the whole text, which is ASCII.
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

std::filesystem::path file; // set once, before the window exists
HWND field;

void save()
{
    std::string text(static_cast<std::size_t>(GetWindowTextLengthA(field)) + 1, '\0');
    text.resize(static_cast<std::size_t>(GetWindowTextA(field, text.data(), static_cast<int>(text.size()))));
    std::filesystem::path temporary = file;
    temporary += ".new";
    std::ofstream(temporary, std::ios::binary) << text;
    std::filesystem::rename(temporary, file);
}

LRESULT CALLBACK windowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_SETFOCUS)
        SetFocus(field);
    else if (message == WM_COMMAND && HIWORD(wParam) == EN_CHANGE)
        save();
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
    field = CreateWindowW(L"EDIT", L"", WS_CHILD | WS_VISIBLE | ES_MULTILINE | ES_AUTOVSCROLL, 0, 0, 600, 160, window,
        nullptr, nullptr, nullptr);
    SetForegroundWindow(window);
    SetFocus(field);
    save();
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    return 0;
}

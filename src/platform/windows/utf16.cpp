#include "platform/windows/utf16.h"

#include <windows.h>

namespace quillo::platform {

std::wstring toUtf16(std::string_view utf8)
{
    std::wstring utf16(utf8.size(), L'\0'); // never needs more units than UTF-8 has bytes
    const int size = static_cast<int>(utf8.size());
    const int length = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, utf16.data(), size);
    utf16.resize(static_cast<std::size_t>(length));
    return utf16;
}

std::string toUtf8(std::wstring_view utf16)
{
    std::string utf8(3 * utf16.size(), '\0'); // what a unit needs at most
    const int length = WideCharToMultiByte(CP_UTF8, 0, utf16.data(), static_cast<int>(utf16.size()), utf8.data(),
        static_cast<int>(utf8.size()), nullptr, nullptr);
    utf8.resize(static_cast<std::size_t>(length));
    return utf8;
}

} // namespace quillo::platform

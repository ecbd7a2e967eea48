#pragma once

#include <string>
#include <string_view>

namespace quillo::platform {

/// Between the program's UTF-8 and the system's UTF-16. What is malformed becomes U+FFFD. Any thread.
std::wstring toUtf16(std::string_view utf8);
std::string toUtf8(std::wstring_view utf16);

} // namespace quillo::platform

#include "platform/graphics_drivers.h"

#include "platform/windows/utf16.h"

#include <windows.h>

#include <array>
#include <memory>
#include <string>
#include <type_traits>

namespace quillo::platform {
namespace {

constexpr auto displayAdapters = L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4d36e968-e325-11ce-bfc1-08002be10318}";

struct CloseKey {
    void operator()(HKEY key) const { RegCloseKey(key); }
};

// A text of one adapter's entry.
std::string valueOf(const wchar_t* adapter, const wchar_t* name)
{
    const std::wstring key = std::wstring(displayAdapters) + L'\\' + adapter;
    std::array<wchar_t, 256> text{};
    DWORD size = sizeof text;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, RRF_RT_REG_SZ, nullptr, text.data(), &size)
        != ERROR_SUCCESS)
        return {};
    return toUtf8(text.data());
}

} // namespace

std::string graphicsDrivers()
{
    std::string line;
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, displayAdapters, 0, KEY_ENUMERATE_SUB_KEYS, &key) != ERROR_SUCCESS)
        return line;
    const std::unique_ptr<std::remove_pointer_t<HKEY>, CloseKey> adapters(key);
    std::array<wchar_t, 256> adapter{};
    for (DWORD i = 0; RegEnumKeyW(key, i, adapter.data(), adapter.size()) == ERROR_SUCCESS; ++i)
        if (const std::string version = valueOf(adapter.data(), L"DriverVersion"); !version.empty())
            line += valueOf(adapter.data(), L"DriverDesc") + ' ' + version + ' ';
    return line;
}

} // namespace quillo::platform

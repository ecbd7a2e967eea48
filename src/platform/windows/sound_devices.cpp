#include "platform/sound_devices.h"

#include <windows.h>

#include <mmddk.h>
#include <mmsystem.h>

#include <cwchar>
#include <iterator>

namespace quillo::platform {

std::string soundDevices()
{
    DWORD preferred = 0;
    DWORD flags = 0;
    waveInMessage(reinterpret_cast<HWAVEIN>(static_cast<UINT_PTR>(WAVE_MAPPER)), DRVM_MAPPER_PREFERRED_GET,
        reinterpret_cast<DWORD_PTR>(&preferred), reinterpret_cast<DWORD_PTR>(&flags));
    std::string devices = std::to_string(preferred);
    const UINT count = waveInGetNumDevs();
    for (UINT device = 0; device < count; ++device) {
        WAVEINCAPSW about{};
        waveInGetDevCapsW(device, &about, sizeof about);
        const std::size_t length = wcsnlen(about.szPname, std::size(about.szPname));
        devices += '\n';
        devices.append(reinterpret_cast<const char*>(about.szPname), length * sizeof(wchar_t)); // only ever compared
    }
    return devices;
}

} // namespace quillo::platform

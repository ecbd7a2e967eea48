#include "platform/sound_devices.h"

#include <windows.h>

#include <mmsystem.h>

#include <mmddk.h> // needs those before

#include <cwchar>
#include <iterator>

namespace quillo::platform {

std::string soundDevices()
{
    std::string devices;
    const UINT count = waveInGetNumDevs(); // first: it brings what the system knows up to date
    for (UINT device = 0; device < count; ++device) {
        WAVEINCAPSW about{};
        waveInGetDevCapsW(device, &about, sizeof about);
        const std::size_t length = wcsnlen(about.szPname, std::size(about.szPname));
        devices.append(reinterpret_cast<const char*>(about.szPname), length * sizeof(wchar_t)); // only ever compared
        devices += '\n';
    }
    DWORD preferred = 0;
    DWORD flags = 0;
    waveInMessage(reinterpret_cast<HWAVEIN>(static_cast<UINT_PTR>(WAVE_MAPPER)), DRVM_MAPPER_PREFERRED_GET,
        reinterpret_cast<DWORD_PTR>(&preferred), reinterpret_cast<DWORD_PTR>(&flags));
    return devices + std::to_string(preferred);
}

void receiveSoundMessages(void (* /*receive*/)(const char* line)) { } // they have none

} // namespace quillo::platform

#pragma once

#include <cstdint>
#include <string>

namespace quillo {

/// The user's choices, as they travel between the settings file, the settings window and the program. A plain value;
/// no field is checked. Texts are UTF-8.
///
/// Default-constructed, hotkey, overlayPosition and theme are empty; defaultSettings() gives them real values.
struct SettingsData {
    std::string hotkey; ///< such as "Ctrl+Shift+Space"
    bool toggleMode = false; ///< each press starts or ends a recording, instead of holding the hotkey
    std::int32_t maxRecordingMinutes = 5;
    std::string inputDeviceId; ///< as AudioCapture lists it; empty: the system's default device
    float vadSensitivity = 0.5F; ///< 0.0 to 1.0
    bool soundOnStart = true;
    bool soundOnComplete = true;
    std::string openaiKey; ///< exactly as typed
    std::string mistralKey; ///< exactly as typed
    bool openaiEnabled = false;
    bool mistralEnabled = false;
    std::string transcriptionSource = "local"; ///< what is asked first: "local", "openai" or "mistral"
    std::string overlayPosition; ///< "cursor", "top-left", "top-right" or "bottom-center"
    std::string theme; ///< always written as "dark"
    float overlayOpacity = 0.9F; ///< 0.0 to 1.0

    bool operator==(const SettingsData&) const = default;
};

/// What is used as long as nothing else is stored.
inline SettingsData defaultSettings()
{
    SettingsData settings;
    settings.hotkey = "Ctrl+Shift+Space";
    settings.overlayPosition = "cursor";
    settings.theme = "dark";
    return settings;
}

} // namespace quillo

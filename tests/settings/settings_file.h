#pragma once

#include "settings/settings_store.h"
#include "support/files.h"
#include "support/private_profile.h"

#include <QSettings>

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>

namespace quillo {

inline const test::PrivateProfile profile;

/// What is loaded when nothing is stored.
inline const SettingsData defaults = [] {
    SettingsData settings;
    settings.hotkey = "Ctrl+Shift+Space";
    settings.overlayPosition = "cursor";
    settings.theme = "dark";
    return settings;
}();

/// Every field differs from its default.
inline const SettingsData everythingElse{"Alt+F9", true, 12, "3", 0.25F, false, false,
    "@Größe \"x\" \\ ; = , % #\n\t模型 ", "true", true, true, "mistral", "top-left", "light", 0.75F};

/// The settings of a profile that is empty when a test begins.
class SettingsStoreTest : public testing::Test {
protected:
    SettingsStoreTest() { profile.empty(); }

    static QSettings toolkitStore() { return {QSettings::IniFormat, QSettings::UserScope, "Quillo", "Quillo"}; }

    /// What another process would load. The toolkit reads a file again only when it looks changed.
    SettingsData loadAfresh() const
    {
        std::filesystem::last_write_time(file, std::filesystem::last_write_time(file) + std::chrono::seconds(1));
        return SettingsStore::load();
    }

    const std::filesystem::path folder = profile.configRoot() / "Quillo";
    const std::filesystem::path file = folder / "Quillo.ini";
};

} // namespace quillo

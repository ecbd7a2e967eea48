#pragma once

#include "settings/settings_data.h"

#include <array>
#include <cstdint>
#include <string>
#include <variant>

namespace quillo {

/// One value of the settings file: where it belongs in the record, and what it is when the file does not have it.
template<typename T> struct SettingsField {
    T SettingsData::*member;
    T defaultValue;
};

struct SettingsEntry {
    const char* key;
    std::variant<SettingsField<std::string>, SettingsField<bool>, SettingsField<std::int32_t>, SettingsField<float>>
        field;
};

/// The whole settings file, in the order in which it is read and written.
const std::array<SettingsEntry, 15>& settingsTable();

/// The settings file: the toolkit's per-user INI file of organisation and application "Quillo".
///
/// Stateless; each operation opens the file anew and replaces it in one go. Any thread, and any number of programs: the
/// last one to save wins. A program that keeps the file for itself is waited for, some tenths of a second.
class SettingsStore {
public:
    /// The stored settings. What is missing or cannot be read takes its default; a value of the wrong type reads as
    /// the toolkit converts it.
    static SettingsData load();

    /// Writes every entry of the table and leaves foreign ones alone. The file, which holds the keys of the cloud
    /// services as plain text, can be read by its owner only. That it could not be written is not noticed.
    static void save(const SettingsData& settings);
};

} // namespace quillo

#pragma once

#include "settings/settings_data.h"

namespace quillo {

/// The settings file: the toolkit's per-user INI file of organisation and application "Quillo".
///
/// Stateless; each operation opens the file anew and replaces it in one go. Any thread, and any number of programs: the
/// last one to save wins. A program that keeps the file for itself is waited for, some tenths of a second.
class SettingsStore {
public:
    /// The stored settings. What is missing or cannot be read takes its default; a value of the wrong type reads as
    /// the toolkit converts it.
    static SettingsData load();

    /// Writes every field and leaves foreign ones alone. The file, which holds the keys of the cloud
    /// services as plain text, can be read by its owner only. That it could not be written is not noticed. What a file
    /// could not take because another program kept it stays in this process: load() gives it, and the next call that
    /// finds the file free, be it a load(), writes it. What a full disk refuses is lost.
    static void save(const SettingsData& settings);
};

} // namespace quillo

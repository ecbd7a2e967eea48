#include "fuzz/fuzzing.h"

#include "settings/settings_store.h"
#include "support/files.h"
#include "support/private_profile.h"

#include <QSettings>

#include <chrono>
#include <map>

namespace quillo {
namespace {

namespace fs = std::filesystem;

const test::PrivateProfile profile;

const fs::path settingsFile = profile.configRoot() / "Quillo" / "Quillo.ini";

/// Lets the toolkit see the file as another program would: what it has read it keeps until the file looks changed.
void moveOn()
{
    static auto time = fs::file_time_type::clock::now();
    fs::last_write_time(settingsFile, time += std::chrono::seconds(1));
}

SettingsData load()
{
    moveOn();
    return SettingsStore::load();
}

void save(const SettingsData& settings)
{
    moveOn();
    SettingsStore::save(settings);
}

QSettings toolkitStore()
{
    moveOn();
    return {QSettings::IniFormat, QSettings::UserScope, "Quillo", "Quillo"};
}

/// Everything in the file that is not Quillo's.
std::map<QString, QString> foreignEntries()
{
    const QSettings file = toolkitStore();
    std::map<QString, QString> entries;
    for (const QString& key : file.allKeys())
        entries[key] = file.value(key).toString();
    for (const SettingsEntry& entry : settingsTable())
        entries.erase(QString::fromLatin1(entry.key));
    return entries;
}

/// Compares like ==, except that what is not a number equals its like.
bool same(const SettingsData& a, const SettingsData& b)
{
    const auto sameValue = [](const auto& x, const auto& y) { return x == y || (x != x && y != y); };
    for (const SettingsEntry& entry : settingsTable())
        if (!std::visit([&](const auto& field) { return sameValue(a.*field.member, b.*field.member); }, entry.field)) {
            std::fprintf(stderr, "different: %s\n", entry.key);
            return false;
        }
    return true;
}

} // namespace
} // namespace quillo

/// The input is the settings file.
void quillo::fuzz::tryInput(const std::string& input)
{
    test::writeFile(settingsFile, input);
    const SettingsData loaded = load();
    save(loaded);
    require(same(load(), loaded), "what was loaded and saved loads again");

    // The toolkit rewrites the file, after which the entries that it cannot write back are no longer there.
    toolkitStore().setValue("font", 7);
    const auto foreign = foreignEntries();
    save(loaded);
    require(same(load(), loaded), "it does so among entries of others");
    require(foreignEntries() == foreign, "foreign entries stay");
}

/// The toolkit remembers the last files it has read, which libFuzzer would take for a leak to be searched at each
/// input.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options()
{
    return "detect_leaks=0";
}

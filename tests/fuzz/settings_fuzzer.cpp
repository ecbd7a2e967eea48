#include "fuzz/fuzzing.h"

#include "settings/settings_store.h"
#include "support/private_profile.h"

#include <QSettings>

#include <cmath>
#include <map>

namespace quillo {
namespace {

namespace fs = std::filesystem;
using fuzz::require;

const test::PrivateProfile profile;

/// The settings file in a folder that changes its name whenever another program is to be played: the toolkit keeps
/// what it has read of a file, and does not notice every change that follows within a moment.
class SettingsFile {
public:
    explicit SettingsFile(const std::string& content)
    {
        moveOn();
        fs::create_directories(root() / "Quillo");
        fuzz::writeFile((root() / "Quillo" / "Quillo.ini").string(), content);
    }
    ~SettingsFile() { fs::remove_all(root()); }
    SettingsFile(const SettingsFile&) = delete;
    SettingsFile& operator=(const SettingsFile&) = delete;

    static SettingsData load()
    {
        moveOn();
        return SettingsStore::load();
    }
    static void save(const SettingsData& settings)
    {
        moveOn();
        SettingsStore::save(settings);
    }
    /// Lets the toolkit rewrite the file, after which the entries that it cannot write back are no longer there.
    static void putInOrder()
    {
        moveOn();
        QSettings(QSettings::IniFormat, QSettings::UserScope, "Quillo", "Quillo").setValue("font", 7);
    }
    /// Everything in the file that is not Quillo's.
    static std::map<QString, QString> foreignEntries()
    {
        moveOn();
        const QSettings file(QSettings::IniFormat, QSettings::UserScope, "Quillo", "Quillo");
        std::map<QString, QString> entries;
        for (const QString& key : file.allKeys())
            entries[key] = file.value(key).toString();
        for (const SettingsEntry& entry : settingsTable())
            entries.erase(QString::fromLatin1(entry.key));
        return entries;
    }

private:
    static inline int number = 0;
    static fs::path root() { return profile.configRoot() / std::to_string(number); }
    static void moveOn()
    {
        const fs::path old = root();
        ++number;
        std::error_code none;
        fs::rename(old, root(), none);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, QString::fromStdString(root().string()));
    }
};

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
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace quillo;
    SettingsFile file(fuzz::textOf(data, size));
    const SettingsData loaded = file.load();
    file.save(loaded);
    require(same(file.load(), loaded), "what was loaded and saved loads again");

    file.putInOrder();
    const auto foreign = file.foreignEntries();
    file.save(loaded);
    require(same(file.load(), loaded), "it does so among entries of others");
    require(file.foreignEntries() == foreign, "foreign entries stay");
    return 0;
}

/// The toolkit remembers the last files it has read, which libFuzzer would take for a leak to be searched at each
/// input.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options()
{
    return "detect_leaks=0";
}

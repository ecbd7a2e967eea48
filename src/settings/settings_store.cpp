#include "settings/settings_store.h"

#include "base/files.h"
#include "platform/file_in_use.h"

#include <QByteArray>
#include <QSettings>
#include <QString>
#include <QTemporaryFile>
#include <QVariant>

#include <cstdint>
#include <string>
#include <variant>

namespace quillo {

namespace {

QVariant toVariant(const std::string& value)
{
    return QString::fromStdString(value);
}

QVariant toVariant(bool value)
{
    return value;
}

QVariant toVariant(std::int32_t value)
{
    return value;
}

QVariant toVariant(float value)
{
    return double{value};
}

void read(const QVariant& stored, std::string& value)
{
    value = stored.toString().toStdString();
}

void read(const QVariant& stored, bool& value)
{
    value = stored.toBool();
}

void read(const QVariant& stored, std::int32_t& value)
{
    value = stored.toInt();
}

void read(const QVariant& stored, float& value)
{
    value = stored.toFloat();
}

struct Entry {
    const char* key;
    std::variant<std::string SettingsData::*, bool SettingsData::*, std::int32_t SettingsData::*, float SettingsData::*>
        field;
};

/// The whole settings file, in the order in which it is read and written.
constexpr Entry entries[] = {
    {"hotkey", &SettingsData::hotkey},
    {"toggleMode", &SettingsData::toggleMode},
    {"maxRecordingMinutes", &SettingsData::maxRecordingMinutes},
    {"inputDeviceId", &SettingsData::inputDeviceId},
    {"vadSensitivity", &SettingsData::vadSensitivity},
    {"soundOnStart", &SettingsData::soundOnStart},
    {"soundOnComplete", &SettingsData::soundOnComplete},
    {"transcriptionSource", &SettingsData::transcriptionSource},
    {"openaiEnabled", &SettingsData::openaiEnabled},
    {"openaiKey", &SettingsData::openaiKey},
    {"mistralEnabled", &SettingsData::mistralEnabled},
    {"mistralKey", &SettingsData::mistralKey},
    {"theme", &SettingsData::theme},
    {"overlayPosition", &SettingsData::overlayPosition},
    {"overlayOpacity", &SettingsData::overlayOpacity},
};

/// Calls action(key, value) for every entry, with its field of the settings.
template<typename Settings, typename Action> void forEachEntry(Settings& settings, Action action)
{
    for (const Entry& entry : entries)
        std::visit([&](auto field) { action(QString::fromLatin1(entry.key), settings.*field); }, entry.field);
}

QSettings openStore()
{
    return QSettings(QSettings::IniFormat, QSettings::UserScope, "Quillo", "Quillo");
}

/// Whether the disk takes a file of the size of the settings, with much to spare.
bool hasRoomBeside(const QString& path)
{
    const QByteArray room(65536, '\0');
    QTemporaryFile probe(path);
    return probe.open() && probe.write(room) == room.size() && probe.flush();
}

} // namespace

SettingsData SettingsStore::load()
{
    SettingsData settings;
    const auto load = [&settings] {
        const QSettings store = openStore();
        settings = defaultSettings();
        forEachEntry(
            settings, [&](const QString& key, auto& value) { read(store.value(key, toVariant(value)), value); });
        return store.status() != QSettings::AccessError;
    };
    platform::retryWhileInUse(load);
    return settings;
}

void SettingsStore::save(const SettingsData& settings)
{
    const auto save = [&settings] {
        QSettings store = openStore();
        makePrivate(store.fileName()); // before the first write: the toolkit itself would let everybody read a new file
        if (!hasRoomBeside(store.fileName()))
            return true; // the toolkit would put a file that a full disk cut short in the place of the old one
        forEachEntry(settings, [&](const QString& key, const auto& value) { store.setValue(key, toVariant(value)); });
        store.sync();
        return store.status() != QSettings::AccessError;
    };
    platform::retryWhileInUse(save);
}

} // namespace quillo

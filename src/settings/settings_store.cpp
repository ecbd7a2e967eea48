#include "settings/settings_store.h"

#include "base/private_file.h"
#include "platform/file_in_use.h"

#include <QByteArray>
#include <QSettings>
#include <QString>
#include <QTemporaryFile>
#include <QVariant>

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

/// Calls action(key, field) for every entry of the table.
template<typename Action> void forEachField(Action action)
{
    for (const SettingsEntry& entry : settingsTable()) {
        const QString key = QString::fromLatin1(entry.key);
        std::visit([&](const auto& field) { action(key, field); }, entry.field);
    }
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

const std::array<SettingsEntry, 15>& settingsTable()
{
    using Text = SettingsField<std::string>;
    using Flag = SettingsField<bool>;
    using Number = SettingsField<std::int32_t>;
    using Fraction = SettingsField<float>;
    static const std::array<SettingsEntry, 15> table{{
        {"hotkey", Text{&SettingsData::hotkey, "Ctrl+Shift+Space"}},
        {"toggleMode", Flag{&SettingsData::toggleMode, false}},
        {"maxRecordingMinutes", Number{&SettingsData::maxRecordingMinutes, 5}},
        {"inputDeviceId", Text{&SettingsData::inputDeviceId, ""}},
        {"vadSensitivity", Fraction{&SettingsData::vadSensitivity, 0.5F}},
        {"soundOnStart", Flag{&SettingsData::soundOnStart, true}},
        {"soundOnComplete", Flag{&SettingsData::soundOnComplete, true}},
        {"transcriptionSource", Text{&SettingsData::transcriptionSource, "local"}},
        {"openaiEnabled", Flag{&SettingsData::openaiEnabled, false}},
        {"openaiKey", Text{&SettingsData::openaiKey, ""}},
        {"mistralEnabled", Flag{&SettingsData::mistralEnabled, false}},
        {"mistralKey", Text{&SettingsData::mistralKey, ""}},
        {"theme", Text{&SettingsData::theme, "dark"}},
        {"overlayPosition", Text{&SettingsData::overlayPosition, "cursor"}},
        {"overlayOpacity", Fraction{&SettingsData::overlayOpacity, 0.9F}},
    }};
    return table;
}

SettingsData SettingsStore::load()
{
    SettingsData settings;
    const auto load = [&settings] {
        const QSettings store = openStore();
        forEachField([&](const QString& key, const auto& field) {
            read(store.value(key, toVariant(field.defaultValue)), settings.*field.member);
        });
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
        forEachField(
            [&](const QString& key, const auto& field) { store.setValue(key, toVariant(settings.*field.member)); });
        store.sync();
        return store.status() != QSettings::AccessError;
    };
    platform::retryWhileInUse(save);
}

} // namespace quillo

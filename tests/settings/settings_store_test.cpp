#include "settings/settings_file.h"

#include <QStringList>

#include <cstdint>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

namespace quillo {
namespace {

namespace fs = std::filesystem;

/// Two values of a field's type that the file format could get wrong.
std::vector<std::string> samples(const std::string&)
{
    return {"@Größe \"x\" \\ ; = , % #\n\t模型 ", "true"};
}
std::vector<bool> samples(bool)
{
    return {true, false};
}
std::vector<std::int32_t> samples(std::int32_t)
{
    return {0, std::numeric_limits<std::int32_t>::min()};
}
std::vector<float> samples(float)
{
    return {0.53F, 0.1F};
}

TEST_F(SettingsStoreTest, EveryEntryOfTheTableSurvivesSavingAndLoading)
{
    for (const SettingsEntry& entry : settingsTable()) {
        std::visit(
            [&](const auto& field) {
                for (const auto& value : samples(field.defaultValue)) {
                    SettingsData settings = defaults;
                    settings.*field.member = value;
                    SettingsStore::save(settings);
                    EXPECT_EQ(loadAfresh(), settings) << entry.key;
                }
            },
            entry.field);
    }
}

TEST_F(SettingsStoreTest, TheTableHasEveryFieldAndTheFileEveryKey)
{
    SettingsStore::save(everythingElse);

    EXPECT_EQ(loadAfresh(), everythingElse);
    EXPECT_THAT(toolkitStore().childGroups(), testing::IsEmpty());
    EXPECT_THAT(toolkitStore().childKeys(),
        testing::UnorderedElementsAre("hotkey", "toggleMode", "maxRecordingMinutes", "inputDeviceId", "vadSensitivity",
            "soundOnStart", "soundOnComplete", "transcriptionSource", "openaiEnabled", "openaiKey", "mistralEnabled",
            "mistralKey", "theme", "overlayPosition", "overlayOpacity"));
    EXPECT_THAT(test::contentOf(file), testing::ContainsRegex("vadSensitivity=0\\.25\r?\n"));
}

TEST_F(SettingsStoreTest, NothingStoredGivesTheDefaultsAndCreatesNothing)
{
    EXPECT_EQ(SettingsStore::load(), defaults);
    EXPECT_FALSE(fs::exists(folder));
}

struct StoredFile {
    const char* name;
    std::string content;
    SettingsData expected;
};

SettingsData with(void (*change)(SettingsData&))
{
    SettingsData settings = defaults;
    change(settings);
    return settings;
}

class StoredFileTest : public SettingsStoreTest, public testing::WithParamInterface<StoredFile> { };

TEST_P(StoredFileTest, ReadsAsTheToolkitConvertsIt)
{
    test::writeFile(file, GetParam().content);
    EXPECT_EQ(SettingsStore::load(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Files, StoredFileTest,
    testing::Values(StoredFile{"Empty", "", defaults},
        StoredFile{"Partial", "[General]\nmistralKey=abc\ntoggleMode=true\n",
            with([](SettingsData& s) { s.mistralKey = "abc", s.toggleMode = true; })},
        StoredFile{"Binary", std::string("\0\xff\xfe[[\n==\n%%\x80]", 14), defaults},
        StoredFile{
            "CutInTheMiddle", "[General]\nopenaiKey=abc\nhotk", with([](SettingsData& s) { s.openaiKey = "abc"; })},
        StoredFile{"KeysInAGroup", "[Window]\nhotkey=F9\n", defaults},
        StoredFile{"NumbersThatAreNone", "[General]\nmaxRecordingMinutes=soon\nvadSensitivity=loud\n",
            with([](SettingsData& s) { s.maxRecordingMinutes = 0, s.vadSensitivity = 0; })},
        StoredFile{"NumbersOutOfRange", "[General]\nmaxRecordingMinutes=-4\noverlayOpacity=7.5\n",
            with([](SettingsData& s) { s.maxRecordingMinutes = -4, s.overlayOpacity = 7.5F; })},
        StoredFile{"FlagsThatAreNone", "[General]\ntoggleMode=perhaps\nsoundOnStart=0\nsoundOnComplete=\n",
            with([](SettingsData& s) { s.toggleMode = true, s.soundOnStart = s.soundOnComplete = false; })},
        StoredFile{"ListForAText", "[General]\nhotkey=a, b\n", with([](SettingsData& s) { s.hotkey.clear(); })}),
    [](const auto& tested) { return tested.param.name; });

TEST_F(SettingsStoreTest, FolderInPlaceOfTheFileCountsAsNothing)
{
    fs::create_directories(file);
    SettingsStore::save(everythingElse);
    EXPECT_EQ(SettingsStore::load(), defaults);
}

TEST_F(SettingsStoreTest, SavingLeavesForeignEntriesAlone)
{
    test::writeFile(file, "[General]\nfont=7\n");
    SettingsStore::save(everythingElse);
    EXPECT_EQ(loadAfresh(), everythingElse);
    EXPECT_EQ(toolkitStore().value("font").toString(), "7");
}

} // namespace
} // namespace quillo

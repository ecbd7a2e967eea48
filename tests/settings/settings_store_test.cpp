#include "settings/paths.h"
#include "settings/settings_file.h"
#include "stand_ins/fake_platform.h"

#include <filesystem>

namespace quillo {
namespace {

namespace fs = std::filesystem;

TEST_F(SettingsStoreTest, TheTableHasEveryFieldAndTheFileEveryKeyBesideForeignOnes)
{
    test::writeFile(file, "[General]\nfont=7\n");
    SettingsStore::save(everythingElse);
    EXPECT_EQ(loadAfresh(), everythingElse);
    EXPECT_THAT(toolkitStore().childGroups(), testing::IsEmpty());
    EXPECT_THAT(toolkitStore().childKeys(),
        testing::UnorderedElementsAre("hotkey", "toggleMode", "maxRecordingMinutes", "inputDeviceId", "vadSensitivity",
            "soundOnStart", "soundOnComplete", "transcriptionSource", "openaiEnabled", "openaiKey", "mistralEnabled",
            "mistralKey", "theme", "overlayPosition", "overlayOpacity", "font"));
    EXPECT_EQ(toolkitStore().value("font").toString(), "7");
    EXPECT_THAT(test::contentOf(file), testing::ContainsRegex("vadSensitivity=0\\.25\r?\n"));
}

TEST_F(SettingsStoreTest, NothingStoredGivesTheDefaultsAndCreatesNothing)
{
    EXPECT_EQ(SettingsStore::load(), defaults);
    EXPECT_FALSE(fs::exists(folder));
    fs::create_directories(file); // a folder in place of the file counts as nothing
    SettingsStore::save(everythingElse);
    EXPECT_EQ(SettingsStore::load(), defaults);
}

TEST_F(SettingsStoreTest, TakesWhatTheFileHasAndDefaultsForTheRest)
{
    SettingsData expected = defaults;
    expected.mistralKey = "abc";
    expected.maxRecordingMinutes = -4; // nothing is checked here
    expected.soundOnStart = false;
    expected.openaiEnabled = true;
    expected.vadSensitivity = 0;
    test::writeFile(file,
        "[General]\nmistralKey=abc\nmaxRecordingMinutes=-4\nsoundOnStart=0\nopenaiEnabled=true\nvadSensitivity=loud\n"
        "[Window]\nhotkey=F9\n");
    EXPECT_EQ(SettingsStore::load(), expected);
}

TEST(Paths, LieUnderTheUsersDataFolder)
{
    constexpr char separator = static_cast<char>(fs::path::preferred_separator);
    for (const std::string root : {"/home/jos\xC3\xA9/data", ""}) { // without a folder only the suffixes are left
        test::FakePlatform::instance().setDataRoot(root);
        const std::string folder = root.empty() ? "" : root + separator + "Quillo";
        EXPECT_EQ(appDataDir(), folder);
        EXPECT_EQ(configDir(), folder + separator + "config");
        EXPECT_EQ(modelsDir(), folder + separator + "models");
    }
}

} // namespace
} // namespace quillo

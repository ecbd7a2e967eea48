#include "settings/settings_store.h"

#include "support/files.h"
#include "support/posix/full_disk.h"
#include "support/private_profile.h"

#include <QSettings>
#include <QStringList>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <limits>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

namespace quillo {

/// For the reports of failed comparisons.
void PrintTo(const SettingsData& settings, std::ostream* stream)
{
    for (const SettingsEntry& entry : settingsTable())
        std::visit(
            [&](const auto& field) { *stream << entry.key << '=' << settings.*field.member << "; "; }, entry.field);
}

namespace {

const test::PrivateProfile profile;

namespace fs = std::filesystem;

/// What is loaded when nothing is stored.
const SettingsData defaults = [] {
    SettingsData settings;
    settings.hotkey = "Ctrl+Shift+Space";
    settings.overlayPosition = "cursor";
    settings.theme = "dark";
    return settings;
}();

/// Every field differs from its default.
const SettingsData everythingElse{
    .hotkey = "Alt+F9",
    .toggleMode = true,
    .maxRecordingMinutes = 12,
    .inputDeviceId = "3",
    .vadSensitivity = 0.25F,
    .soundOnStart = false,
    .soundOnComplete = false,
    .openaiKey = " openai key ",
    .mistralKey = "mistral=key;",
    .openaiEnabled = true,
    .mistralEnabled = true,
    .transcriptionSource = "mistral",
    .overlayPosition = "top-left",
    .theme = "light",
    .overlayOpacity = 0.75F,
};

class SettingsStoreTest : public testing::Test {
protected:
    SettingsStoreTest()
    {
        profile.empty();
        umask(0); // the worst case for whoever wants to keep a file private
    }

    static QSettings toolkitStore() { return {QSettings::IniFormat, QSettings::UserScope, "Quillo", "Quillo"}; }

    /// What another process would load. The toolkit reads a file again only when it looks changed.
    SettingsData loadAfresh() const
    {
        fs::last_write_time(file, fs::last_write_time(file) + std::chrono::seconds(1));
        return SettingsStore::load();
    }

    const fs::path folder = profile.configRoot() / "Quillo";
    const fs::path file = folder / "Quillo.ini";
};

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
    EXPECT_THAT(test::contentOf(file), testing::HasSubstr("vadSensitivity=0.25\n"));
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

TEST_F(SettingsStoreTest, SavingTakesAwayWhatOthersMayDo)
{
    test::writeFile(file, "[General]\nfont=7\n");
    fs::permissions(file, fs::perms(0666));

    SettingsStore::save(everythingElse);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
    EXPECT_EQ(toolkitStore().value("font").toString(), "7"); // a foreign entry stays
}

TEST_F(SettingsStoreTest, NewFileIsNeverReadableByOthers)
{
    std::atomic<bool> done = false;
    std::thread saver([&] {
        for (int i = 0; i < 100; ++i) {
            fs::remove(file);
            SettingsStore::save(everythingElse);
        }
        done = true;
    });
    fs::perms seen = fs::perms::none;
    while (!done)
        if (const fs::file_status status = fs::status(file); fs::exists(status))
            seen |= status.permissions();
    saver.join();
    EXPECT_EQ(seen, fs::perms(0600));
}

TEST_F(SettingsStoreTest, FullDiskKeepsTheOldFile)
{
    SettingsStore::save(everythingElse);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const test::FullDisk disk(fs::file_size(file) / 2);
        SettingsStore::save(defaults);
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    EXPECT_EQ(SettingsStore::load(), everythingElse);
}

/// A record that tells its number in every field that can hold it.
SettingsData numbered(int number)
{
    SettingsData settings = everythingElse;
    for (std::string SettingsData::*member : {&SettingsData::hotkey, &SettingsData::inputDeviceId,
             &SettingsData::openaiKey, &SettingsData::mistralKey, &SettingsData::overlayPosition})
        settings.*member = std::to_string(number);
    settings.maxRecordingMinutes = number;
    return settings;
}

TEST_F(SettingsStoreTest, ProgramsThatSaveAtOnceLeaveWholeRecords)
{
    constexpr int savesEach = 25;
    const std::vector<int> firstNumbers{1000, 2000};
    SettingsStore::save(numbered(firstNumbers[0]));
    toolkitStore().setValue("foreign", "kept");

    std::vector<pid_t> programs;
    for (const int first : firstNumbers) {
        const pid_t program = fork();
        ASSERT_GE(program, 0);
        if (program == 0) {
            for (int i = 0; i < savesEach; ++i)
                SettingsStore::save(numbered(first + i));
            _exit(0);
        }
        programs.push_back(program);
    }
    while (!programs.empty()) {
        const SettingsData seen = SettingsStore::load();
        EXPECT_EQ(seen, numbered(seen.maxRecordingMinutes));
        if (waitpid(programs.back(), nullptr, WNOHANG) != 0)
            programs.pop_back();
    }
    EXPECT_THAT(SettingsStore::load(),
        testing::AnyOf(numbered(firstNumbers[0] + savesEach - 1), numbered(firstNumbers[1] + savesEach - 1)));
    EXPECT_EQ(toolkitStore().value("foreign").toString(), "kept");
}

} // namespace
} // namespace quillo

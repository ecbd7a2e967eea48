// What comes of it that a file which a program has open can be neither replaced nor removed.
#include "settings/settings_file.h"
#include "support/windows/held_file.h"

namespace quillo {
namespace {

using test::HeldFile;

/// By what another program that has the file open lets others do.
class SettingsInUseTest : public SettingsStoreTest, public testing::WithParamInterface<DWORD> {
protected:
    SettingsInUseTest() { SettingsStore::save(everythingElse); }
};

TEST_P(SettingsInUseTest, AreSavedWhenTheFileBecomesFree)
{
    toolkitStore().setValue("foreign", "kept");
    {
        HeldFile held(file, GetParam());
        held.releaseSoon();
        SettingsStore::save(defaults);
    }
    EXPECT_THAT(test::contentOf(file), testing::HasSubstr("hotkey=Ctrl+Shift+Space"));
    EXPECT_EQ(loadAfresh(), defaults);
    EXPECT_EQ(toolkitStore().value("foreign").toString(), "kept");
}

TEST_P(SettingsInUseTest, AreLoadedWhenTheFileBecomesFree)
{
    test::writeFile(file, "[General]\nhotkey=F9\n"); // by another program, so that it has to be read again
    HeldFile held(file, GetParam());
    held.releaseSoon();
    EXPECT_EQ(SettingsStore::load().hotkey, "F9");
}

TEST_P(SettingsInUseTest, KeepTheOldFileWhenItStaysInUse)
{
    const std::string before = test::contentOf(file);
    {
        const HeldFile held(file, GetParam());
        SettingsStore::save(defaults);
    }
    EXPECT_EQ(test::contentOf(file), before);
}

INSTANTIATE_TEST_SUITE_P(SharedFor, SettingsInUseTest,
    testing::Values(FILE_SHARE_READ | FILE_SHARE_WRITE, FILE_SHARE_READ, DWORD{0}), [](const auto& tested) {
        return tested.param == 0 ? "Nothing" : tested.param == 1 ? "Reading" : "Writing";
    });

} // namespace
} // namespace quillo

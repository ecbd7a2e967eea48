#include "settings/paths.h"

#include "support/fake_platform.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace quillo {
namespace {

TEST(Paths, LieUnderTheUsersDataFolder)
{
    constexpr char separator = static_cast<char>(std::filesystem::path::preferred_separator);
    auto& system = test::FakePlatform::instance();
    system.reset();
    for (const std::string root : {"/home/jos\xC3\xA9/data", "/x"}) {
        system.setDataRoot(root);
        EXPECT_EQ(appDataDir(), root + separator + "Quillo");
        EXPECT_EQ(configDir(), root + separator + "Quillo" + separator + "config");
        EXPECT_EQ(modelsDir(), root + separator + "Quillo" + separator + "models");
    }
}

TEST(Paths, WithoutADataFolderOnlyTheSuffixesAreLeft)
{
    constexpr char separator = static_cast<char>(std::filesystem::path::preferred_separator);
    test::FakePlatform::instance().reset();
    EXPECT_EQ(appDataDir(), "");
    EXPECT_EQ(configDir(), separator + std::string("config"));
    EXPECT_EQ(modelsDir(), separator + std::string("models"));
}

} // namespace
} // namespace quillo

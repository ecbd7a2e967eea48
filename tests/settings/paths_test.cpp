#include "settings/paths.h"

#include "stand_ins/fake_platform.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace quillo {

TEST(Paths, LieUnderTheUsersDataFolder)
{
    constexpr char separator = static_cast<char>(std::filesystem::path::preferred_separator);
    for (const std::string root : {"/home/jos\xC3\xA9/data", ""}) { // without a folder only the suffixes are left
        test::FakePlatform::instance().setDataRoot(root);
        const std::string folder = root.empty() ? "" : root + separator + "Quillo";
        EXPECT_EQ(appDataDir(), folder);
        EXPECT_EQ(configDir(), folder + separator + "config");
        EXPECT_EQ(modelsDir(), folder + separator + "models");
    }
}

} // namespace quillo

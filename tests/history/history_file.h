#pragma once

#include "history/history_store.h"
#include "support/files.h"
#include "support/private_profile.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

namespace quillo {

inline const test::PrivateProfile profile;

/// The history of a profile that is empty when a test begins.
class HistoryStoreTest : public testing::Test {
protected:
    HistoryStoreTest() { profile.empty(); }

    static std::vector<std::string> texts()
    {
        std::vector<std::string> result;
        for (const HistoryEntry& entry : HistoryStore::load())
            result.push_back(entry.text);
        return result;
    }

    const std::filesystem::path file = profile.dataRoot() / "Quillo" / "history.json";
};

} // namespace quillo

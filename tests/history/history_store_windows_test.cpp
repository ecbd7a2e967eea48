// What comes of it that a file which a program has open can be neither replaced nor removed.
#include "history/history_file.h"
#include "support/windows/held_file.h"

#include <filesystem>
#include <iterator>

namespace quillo {
namespace {

namespace fs = std::filesystem;
using test::HeldFile;
using testing::ElementsAre;

/// By what another program that has the file open lets others do.
class HistoryInUseTest : public HistoryStoreTest, public testing::WithParamInterface<DWORD> {
protected:
    HistoryInUseTest() { HistoryStore::append("old"); }
};

TEST_P(HistoryInUseTest, IsAppendedToWhenItBecomesFree)
{
    {
        HeldFile held(file, GetParam());
        held.releaseSoon();
        HistoryStore::append("new");
    }
    EXPECT_THAT(texts(), ElementsAre("new", "old"));
}

TEST_P(HistoryInUseTest, IsLoadedWhenItBecomesFree)
{
    HeldFile held(file, GetParam());
    held.releaseSoon();
    EXPECT_THAT(texts(), ElementsAre("old"));
}

TEST_P(HistoryInUseTest, IsClearedWhenItBecomesFree)
{
    {
        HeldFile held(file, GetParam());
        held.releaseSoon();
        HistoryStore::clear();
    }
    EXPECT_FALSE(fs::exists(file));
}

TEST_P(HistoryInUseTest, KeepsWhatItHasWhenItStaysInUse)
{
    {
        const HeldFile held(file, GetParam());
        HistoryStore::append("lost");
    }
    EXPECT_THAT(texts(), ElementsAre("old"));
    EXPECT_EQ(std::distance(fs::directory_iterator(file.parent_path()), {}), 1);
}

INSTANTIATE_TEST_SUITE_P(SharedFor, HistoryInUseTest,
    testing::Values(FILE_SHARE_READ | FILE_SHARE_WRITE, FILE_SHARE_READ, DWORD{0}), [](const auto& tested) {
        return tested.param == 0 ? "Nothing" : tested.param == 1 ? "Reading" : "Writing";
    });

} // namespace
} // namespace quillo

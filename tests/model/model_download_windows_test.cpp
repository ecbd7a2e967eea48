// What comes of it that a file which a program has open can be neither replaced nor removed.
#include "model/download.h"
#include "support/windows/held_file.h"

#include <filesystem>
#include <optional>
#include <string>

namespace quillo::model {
namespace {

namespace fs = std::filesystem;
using test::contentOf;
using test::HeldFile;

class DownloadInUse : public Download {
protected:
    DownloadInUse() { test::writeFile(one, "old model"); }

    /// Downloads "one", during which another program opens this file for a moment at a percentage.
    void downloadAndHold(const fs::path& file, int percent)
    {
        std::optional<HeldFile> held;
        managerOf().downloadModel("one", [&, receive = reports.receiver()](const ModelInfo& info, int reached) {
            receive(info, reached);
            if (reached >= percent && !held) {
                held.emplace(file);
                held->releaseSoon();
            }
        });
        awaitEnd();
        EXPECT_TRUE(held) << "nothing was in the way";
    }
};

TEST_F(DownloadInUse, ReplacesTheOldModelWhenThatBecomesFree)
{
    server->answer("/one", model());
    downloadAndHold(one, 100);
    reports.expectEnd(ModelStatus::Downloaded);
    EXPECT_TRUE(contentOf(one) == content);
    EXPECT_FALSE(fs::exists(onePart));
}

TEST_F(DownloadInUse, GetsItsNameWhenTheNewFileBecomesFree)
{
    server->answer("/one", model());
    downloadAndHold(onePart, 100);
    reports.expectEnd(ModelStatus::Downloaded);
    EXPECT_TRUE(contentOf(one) == content);
    EXPECT_FALSE(fs::exists(onePart));
}

TEST_F(DownloadInUse, LeavesNothingOfAFailureWhenThatBecomesFree)
{
    server->answer("/one", model(R"("how": "short")"));
    downloadAndHold(onePart, 49);
    reports.expectEnd(ModelStatus::Error);
    EXPECT_EQ(contentOf(one), "old model");
    EXPECT_FALSE(fs::exists(onePart));
}

TEST_F(DownloadInUse, KeepsTheOldModelWhenThatStaysInUse)
{
    server->answer("/one", model());
    {
        const HeldFile held(one);
        managerOf().downloadModel("one", reports.receiver());
        awaitEnd();
    }
    reports.expectEnd(ModelStatus::Error);
    EXPECT_EQ(contentOf(one), "old model");
    EXPECT_FALSE(fs::exists(onePart));
}

} // namespace
} // namespace quillo::model

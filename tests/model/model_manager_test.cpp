#include "base/utf8_path.h"
#include "model/model_manager.h"
#include "settings/paths.h"
#include "stand_ins/fake_platform.h"
#include "support/files.h"
#include "support/temporary_folder.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <set>

namespace quillo::model {
namespace {

namespace fs = std::filesystem;

using test::contentOf;
using test::writeFile;

/// Every test has data folders of its own.
class ModelManagerTest : public testing::Test {
protected:
    ModelManagerTest() { test::FakePlatform::instance().setDataRoot(root.string()); }

    void writeModel(const std::string& fileName, std::size_t size = 10) const
    {
        writeFile(models / fileName, std::string(size, 'm'));
    }

    using States = std::map<std::string, ModelStatus>;

    /// Expects that these models have these states, and files of this size, and that all others are as in the
    /// catalogue.
    void expectStates(const States& expected, std::uint64_t size = 10) const
    {
        const auto rows = manager.availableModels();
        ASSERT_EQ(rows.size(), modelCatalogue().size());
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const auto found = expected.find(rows[i].id);
            const bool isThere = found != expected.end();
            EXPECT_EQ(rows[i].id, modelCatalogue()[i].id);
            EXPECT_EQ(rows[i].status, isThere ? found->second : ModelStatus::NotDownloaded);
            EXPECT_EQ(rows[i].progress, 0);
            EXPECT_EQ(rows[i].sizeBytes, isThere ? size : modelCatalogue()[i].sizeBytes);
        }
    }

    void expectNothing() const
    {
        expectStates({});
        EXPECT_EQ(manager.activeModelId(), "");
        EXPECT_EQ(manager.usedSpace(), 0U);
    }

    /// Expects that the model "base" is listed, activated and deleted for what lies in its place.
    void expectTreated(bool exists, bool isFile, bool canBeDeleted)
    {
        EXPECT_EQ(manager.setActiveModel("base"), exists);
        EXPECT_EQ(manager.activeModelPath(), exists ? modelsDir() + pathSeparator + "ggml-base.bin" : "");
        expectStates(isFile ? States{{"base", ModelStatus::Active}} : States{});
        EXPECT_EQ(manager.usedSpace(), isFile ? 10U : 0U);
        writeFile(activeFile, "base");
        EXPECT_FALSE(manager.deleteModel("base"));
        writeFile(activeFile, "tiny");
        EXPECT_EQ(manager.deleteModel("base"), canBeDeleted);
        EXPECT_EQ(fs::exists(fs::symlink_status(place)), exists && !canBeDeleted);
    }

    const test::TemporaryFolder folder;
    const fs::path root = folder.path();
    const fs::path models = root / "Quillo" / "models";
    const fs::path config = root / "Quillo" / "config";
    const fs::path place = models / "ggml-base.bin";
    const fs::path activeFile = config / "active_model.txt";
    ModelManager manager;
};

TEST(Catalogue, LeadsToSixFilesOverTls)
{
    std::set<std::string> addresses;
    for (const ModelInfo& model : modelCatalogue()) {
        EXPECT_TRUE(model.url.starts_with("https://") && model.url.ends_with("/" + model.fileName)) << model.url;
        EXPECT_EQ(findModel(model.id), &model);
        addresses.insert(model.url);
    }
    EXPECT_EQ(addresses.size(), 6U);
}

TEST_F(ModelManagerTest, NothingThereYet)
{
    expectNothing();
    EXPECT_EQ(manager.activeModelPath(), "");
    EXPECT_TRUE(fs::is_empty(root)) << "asking must create nothing";
}

TEST_F(ModelManagerTest, ListsFilesWithTheirSizes)
{
    writeModel("ggml-base.bin", 1000);
    writeModel("ggml-small.bin", 1000);
    writeModel("ggml-medium.bin.part", 500);
    writeModel("other.bin", 3);
    fs::create_directories(models / "ggml-tiny.bin" / "inside");
    writeFile(models / "ggml-tiny.bin" / "file", "not counted");
    writeFile(activeFile, "base\n");
    expectStates({{"base", ModelStatus::Active}, {"small", ModelStatus::Downloaded}}, 1000);
    EXPECT_EQ(manager.usedSpace(), 1000U + 1000U + 500U + 3U);
}

TEST_F(ModelManagerTest, ReadsTheActiveModelToTheFirstLineEnd)
{
    const struct {
        const char* content;
        const char* id;
        bool active = false; // whether the model "base" is then active
    } cases[] = {{"base", "base", true}, {"base\r\n", "base", true}, {"base\r", "base\r"},
        {"base\ntiny\n", "base", true}, {"base \n", "base "}, {"Base", "Base"}, {"", ""}, {"small", "small"}};
    writeModel("ggml-base.bin");
    for (const auto& [content, id, active] : cases) {
        SCOPED_TRACE(content);
        writeFile(activeFile, content);
        EXPECT_EQ(manager.activeModelId(), id);
        expectStates({{"base", active ? ModelStatus::Active : ModelStatus::Downloaded}});
        EXPECT_EQ(manager.activeModelPath(), active ? modelsDir() + pathSeparator + "ggml-base.bin" : "");
    }
}

TEST_F(ModelManagerTest, TakesAFileForAModelAndAFolderForNone)
{
    expectTreated(false, false, false);
    writeModel("ggml-base.bin");
    expectTreated(true, true, true);
    fs::create_directories(place);
    expectTreated(true, false, false);
}

TEST_F(ModelManagerTest, FollowsLinksAndDeletesThemAlone)
{
    writeFile(root / "elsewhere", "0123456789");
    for (const char* target : {"elsewhere", "nowhere"}) {
        fs::create_directories(models);
        fs::create_symlink(root / target, place);
        const bool exists = fs::exists(place);
        expectTreated(exists, exists, true);
    }
    EXPECT_TRUE(fs::exists(root / "elsewhere"));
}

TEST_F(ModelManagerTest, ActivatesAndDeletesOnlyWhatIsAsked)
{
    for (const char* file : {"ggml-small.bin", "ggml-base.bin", "ggml-base.bin.part"})
        writeModel(file);
    EXPECT_TRUE(manager.setActiveModel("small"));
    const std::string path = manager.activeModelPath();
    EXPECT_TRUE(fs::exists(fs::path(std::u8string(path.begin(), path.end()))));
    for (const char* unknown : {"Small", "huge", "", "../models/ggml-base.bin"}) {
        EXPECT_FALSE(manager.setActiveModel(unknown));
        EXPECT_FALSE(manager.deleteModel(unknown));
    }
    EXPECT_EQ(contentOf(activeFile), "small");
    EXPECT_EQ(std::distance(fs::directory_iterator(config), {}), 1) << "no temporary file may stay";

    EXPECT_TRUE(manager.deleteModel("base"));
    expectStates({{"small", ModelStatus::Active}});
    EXPECT_TRUE(fs::exists(models / "ggml-base.bin.part"));
}

TEST_F(ModelManagerTest, AsksTheVolumeOfTheModelsFolder)
{
    EXPECT_EQ(manager.freeSpace() > 0, fs::space(root).available > 0);
    EXPECT_TRUE(fs::is_directory(models));
    fs::remove_all(models.parent_path());
    writeFile(models.parent_path(), "a file in the way");
    EXPECT_EQ(manager.freeSpace(), 0U);
}

TEST_F(ModelManagerTest, TakesWhatItCannotReadForAbsent)
{
    writeFile(models, "a file where the folder should be");
    fs::create_directories(activeFile);
    expectNothing();
    EXPECT_FALSE(manager.setActiveModel("tiny"));
    EXPECT_FALSE(manager.deleteModel("tiny"));
}

} // namespace
} // namespace quillo::model

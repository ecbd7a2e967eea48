#include "base/utf8_path.h"
#include "model/model_manager.h"
#include "settings/paths.h"
#include "support/fake_platform.h"
#include "support/temporary_folder.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <ostream>

namespace quillo::model {
namespace {

namespace fs = std::filesystem;

/// Every test has data folders of its own.
class ModelManagerTest : public testing::Test {
protected:
    ModelManagerTest() { test::FakePlatform::instance().setDataRoot(root.string()); }

    static void write(const fs::path& path, const std::string& content)
    {
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << content;
    }
    void writeModel(const std::string& fileName, std::size_t size = 10) const
    {
        write(models / fileName, std::string(size, 'm'));
    }
    void writeActive(const std::string& content) const { write(activeFile, content); }
    std::string readActive() const
    {
        std::ifstream file(activeFile, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// The listed row of a model.
    ModelInfo listed(const std::string& id) const
    {
        for (const ModelInfo& model : manager.availableModels())
            if (model.id == id)
                return model;
        ADD_FAILURE() << id << " is not listed";
        return {};
    }
    /// Expects that these models have these states and all others NotDownloaded with the catalogue's size.
    void expectStates(const std::map<std::string, ModelStatus>& expected) const
    {
        const auto rows = manager.availableModels();
        ASSERT_EQ(rows.size(), modelCatalogue().size());
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const auto found = expected.find(rows[i].id);
            EXPECT_EQ(rows[i].id, modelCatalogue()[i].id);
            EXPECT_EQ(rows[i].status, found == expected.end() ? ModelStatus::NotDownloaded : found->second);
            EXPECT_EQ(rows[i].progress, 0);
            EXPECT_TRUE(found != expected.end() || rows[i].sizeBytes == modelCatalogue()[i].sizeBytes);
        }
    }

    const test::TemporaryFolder folder;
    const fs::path root = folder.path();
    const fs::path models = root / "Quillo" / "models";
    const fs::path config = root / "Quillo" / "config";
    const fs::path activeFile = config / "active_model.txt";
    ModelManager manager;
};

TEST_F(ModelManagerTest, NothingThereYet)
{
    expectStates({});
    EXPECT_EQ(manager.activeModelId(), "");
    EXPECT_EQ(manager.activeModelPath(), "");
    EXPECT_EQ(manager.usedSpace(), 0U);
    EXPECT_TRUE(fs::is_empty(root)) << "asking must create nothing";
}

TEST_F(ModelManagerTest, ListsFilesWithTheirSizes)
{
    writeModel("ggml-base.bin", 1000);
    writeModel("ggml-small.bin", 7);
    writeModel("ggml-medium.bin.part", 500);
    writeModel("other.bin", 3);
    fs::create_directories(models / "ggml-tiny.bin" / "inside");
    write(models / "ggml-tiny.bin" / "file", "not counted");
    writeActive("base\n");
    expectStates({{"base", ModelStatus::Active}, {"small", ModelStatus::Downloaded}});
    EXPECT_EQ(listed("base").sizeBytes, 1000U);
    EXPECT_EQ(listed("small").sizeBytes, 7U);
    EXPECT_EQ(manager.usedSpace(), 1000U + 7U + 500U + 3U);
}

struct ActiveCase {
    std::string name;
    std::string content;
    std::string id;
    bool active = false; // whether the model "base" is then active

    friend void PrintTo(const ActiveCase& that, std::ostream* out) { *out << that.name; }
};

class ActiveModelFile : public ModelManagerTest, public testing::WithParamInterface<ActiveCase> { };

TEST_P(ActiveModelFile, IsReadToTheFirstLineEnd)
{
    writeModel("ggml-base.bin");
    writeActive(GetParam().content);
    EXPECT_EQ(manager.activeModelId(), GetParam().id);
    expectStates({{"base", GetParam().active ? ModelStatus::Active : ModelStatus::Downloaded}});
    EXPECT_EQ(manager.activeModelPath(), GetParam().active ? modelsDir() + pathSeparator + "ggml-base.bin" : "");
}

INSTANTIATE_TEST_SUITE_P(Contents, ActiveModelFile,
    testing::Values(ActiveCase{"bare", "base", "base", true}, ActiveCase{"lineFeed", "base\n", "base", true},
        ActiveCase{"carriageReturnLineFeed", "base\r\n", "base", true},
        ActiveCase{"carriageReturnOnly", "base\r", "base\r"}, ActiveCase{"moreLines", "base\ntiny\n", "base", true},
        ActiveCase{"trailingBlank", "base \n", "base "}, ActiveCase{"otherCase", "Base", "Base"},
        ActiveCase{"unknown", "huge", "huge"}, ActiveCase{"empty", "", ""}, ActiveCase{"emptyFirstLine", "\nbase", ""},
        ActiveCase{"fileAbsent", "small", "small"}),
    [](const auto& test) { return test.param.name; });

TEST_F(ModelManagerTest, ActivatesAPresentModelOnly)
{
    writeModel("ggml-small.bin");
    EXPECT_TRUE(manager.setActiveModel("small"));
    EXPECT_EQ(readActive(), "small");
    const std::string path = manager.activeModelPath();
    EXPECT_EQ(path, modelsDir() + pathSeparator + "ggml-small.bin");
    EXPECT_TRUE(fs::exists(fs::path(std::u8string(path.begin(), path.end()))));

    EXPECT_FALSE(manager.setActiveModel("base")); // no file
    EXPECT_FALSE(manager.setActiveModel("Small"));
    EXPECT_FALSE(manager.setActiveModel(""));
    EXPECT_EQ(readActive(), "small");

    fs::create_directories(models / "ggml-tiny.bin"); // whatever lies there counts
    EXPECT_TRUE(manager.setActiveModel("tiny"));
    EXPECT_EQ(readActive(), "tiny");
    EXPECT_EQ(std::distance(fs::directory_iterator(config), {}), 1) << "no temporary file may stay";
}

TEST_F(ModelManagerTest, DeletesEverythingButTheActiveModel)
{
    for (const char* file : {"ggml-small.bin", "ggml-base.bin", "ggml-base.bin.part"})
        writeModel(file);
    fs::create_directories(models / "ggml-medium.bin");
    ASSERT_TRUE(manager.setActiveModel("small"));

    EXPECT_FALSE(manager.deleteModel("small"));
    EXPECT_TRUE(manager.deleteModel("base"));
    EXPECT_FALSE(manager.deleteModel("base"));
    EXPECT_FALSE(manager.deleteModel("huge"));
    EXPECT_FALSE(manager.deleteModel("medium")) << "a folder is no model file";
    expectStates({{"small", ModelStatus::Active}});
    EXPECT_TRUE(fs::exists(models / "ggml-base.bin.part"));

    fs::remove(models / "ggml-small.bin");
    EXPECT_FALSE(manager.deleteModel("small")) << "the active id is refused whether or not there is a file";
    expectStates({});
}

TEST_F(ModelManagerTest, AsksTheVolumeOfTheModelsFolder)
{
    EXPECT_EQ(manager.freeSpace() > 0, fs::space(root).available > 0);
    EXPECT_TRUE(fs::is_directory(models));
    fs::remove_all(models.parent_path());
    write(models.parent_path(), "a file in the way");
    EXPECT_EQ(manager.freeSpace(), 0U);
}

TEST_F(ModelManagerTest, TakesWhatItCannotReadForAbsent)
{
    write(models, "a file where the folder should be");
    fs::create_directories(activeFile);
    expectStates({});
    EXPECT_EQ(manager.activeModelId(), "");
    EXPECT_EQ(manager.usedSpace(), 0U);
    EXPECT_FALSE(manager.setActiveModel("tiny"));
    EXPECT_FALSE(manager.deleteModel("tiny"));
}

} // namespace
} // namespace quillo::model

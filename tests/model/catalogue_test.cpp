#include "model/catalogue.h"

#include <gmock/gmock.h>

#include <set>

namespace quillo::model {
namespace {

TEST(Catalogue, HoldsSixModelsInOrder)
{
    struct Row {
        const char* id;
        std::uint64_t sizeBytes;
    };
    const Row expected[] = {{"tiny", 78'643'200}, {"base", 148'897'792}, {"small", 488'636'416},
        {"medium", 1'598'029'824}, {"large-v3", 3'326'083'072}, {"distil-large-v3", 838'860'800}};
    ASSERT_EQ(modelCatalogue().size(), std::size(expected));
    std::set<std::string> addresses;
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        const ModelInfo& model = modelCatalogue()[i];
        EXPECT_EQ(model.id, expected[i].id);
        EXPECT_EQ(model.sizeBytes, expected[i].sizeBytes);
        EXPECT_EQ(model.fileName, "ggml-" + model.id + ".bin");
        EXPECT_THAT(model.url, testing::StartsWith("https://"));
        EXPECT_THAT(model.url, testing::EndsWith("/resolve/main/" + model.fileName));
        EXPECT_EQ(model.status, ModelStatus::NotDownloaded);
        EXPECT_EQ(model.progress, 0);
        addresses.insert(model.url);
    }
    EXPECT_EQ(addresses.size(), modelCatalogue().size());
}

TEST(Catalogue, FindsIdsExactly)
{
    EXPECT_EQ(findModel("large-v3"), &modelCatalogue()[4]);
    for (const char* id : {"", "Tiny", "tiny ", " tiny", "tin", "large"})
        EXPECT_EQ(findModel(id), nullptr) << '"' << id << '"';
}

} // namespace
} // namespace quillo::model

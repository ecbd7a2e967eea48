#include "model/catalogue.h"

#include <gtest/gtest.h>

#include <set>

namespace quillo::model {
namespace {

TEST(Catalogue, LeadsToSixFilesOverTls)
{
    std::set<std::string> addresses;
    for (const ModelInfo& model : modelCatalogue()) {
        EXPECT_TRUE(model.url.starts_with("https://") && model.url.ends_with("/" + model.fileName)) << model.url;
        EXPECT_EQ(findModel(model.id), &model);
        addresses.insert(model.url);
    }
    EXPECT_EQ(addresses.size(), 6U);
    for (const char* unknown : {"", "Tiny", "tiny ", "tin", "large"})
        EXPECT_EQ(findModel(unknown), nullptr) << unknown;
}

} // namespace
} // namespace quillo::model

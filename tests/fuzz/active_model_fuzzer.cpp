#include "fuzz/fuzzing.h"

#include "model/model_manager.h"
#include "support/files.h"
#include "support/temporary_folder.h"

namespace quillo::model {
namespace {

using fuzz::require;

const test::TemporaryFolder home;
const bool isHome = setenv("XDG_DATA_HOME", home.path().c_str(), 1) == 0;
const auto models = home.path() / "Quillo" / "models";
const auto activeFile = home.path() / "Quillo" / "config" / "active_model.txt";

std::string firstLine(const std::string& content)
{
    std::string line = content.substr(0, content.find('\n'));
    if (line.size() < content.size() && line.ends_with('\r'))
        line.pop_back();
    return line;
}

void checkRows(const ModelManager& manager, const std::string& active)
{
    for (const ModelInfo& row : manager.availableModels()) {
        const bool present = row.id == "base" || row.id == "tiny";
        const ModelStatus status = row.id == active ? ModelStatus::Active : ModelStatus::Downloaded;
        require(row.status == (present ? status : ModelStatus::NotDownloaded), "states are those of files and id");
    }
}

} // namespace
} // namespace quillo::model

/// The input is "active_model.txt"; two models have files.
void quillo::fuzz::tryInput(const std::string& input)
{
    using namespace quillo::model;
    require(isHome, "the files are where they are looked for");
    test::writeFile(models / "ggml-base.bin", "base");
    test::writeFile(models / "ggml-tiny.bin", "tiny");
    test::writeFile(activeFile, input);
    ModelManager manager;
    const std::string active = firstLine(input);
    const bool usable = active == "base" || active == "tiny";
    require(manager.activeModelId() == active, "the active model is the first line");
    require(manager.activeModelPath() == (usable ? (models / ("ggml-" + active + ".bin")).string() : ""),
        "a path leads to a known model's file only");
    checkRows(manager, active);
    require(manager.setActiveModel("tiny") && manager.activeModelId() == "tiny", "another model can be chosen");
}

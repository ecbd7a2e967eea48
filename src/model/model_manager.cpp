#include "model/model_manager.h"

#include "base/files.h"
#include "base/utf8_path.h"
#include "platform/file_in_use.h"
#include "settings/paths.h"

#include <QByteArray>
#include <QString>

#include <filesystem>
#include <optional>
#include <sstream>
#include <system_error>
#include <utility>

namespace quillo::model {

namespace fs = std::filesystem;

namespace {

/// UTF-8, as the next.
std::string modelFilePath(const ModelInfo& model)
{
    return modelsDir() + pathSeparator + model.fileName;
}

std::string activeModelFilePath()
{
    return configDir() + pathSeparator + "active_model.txt";
}

/// Size of a regular file; nothing for anything else.
std::optional<std::uint64_t> fileSize(const fs::path& path)
{
    std::error_code error;
    if (!fs::is_regular_file(path, error))
        return std::nullopt;
    const std::uint64_t size = fs::file_size(path, error);
    return error ? std::nullopt : std::optional(size);
}

bool isPresent(const fs::path& path)
{
    std::error_code error;
    return fs::exists(path, error);
}

} // namespace

ModelManager::ModelManager(std::vector<ModelInfo> catalogue, std::chrono::seconds stallLimit)
    : catalogue_(std::move(catalogue))
    , stallLimit_(stallLimit)
{
}

std::vector<ModelInfo> ModelManager::availableModels() const
{
    std::vector<ModelInfo> models = catalogue_;
    const std::string activeId = activeModelId();
    for (ModelInfo& model : models) {
        if (const auto size = fileSize(pathFromUtf8(modelFilePath(model)))) {
            model.status = model.id == activeId ? ModelStatus::Active : ModelStatus::Downloaded;
            model.sizeBytes = *size;
        }
    }
    return models;
}

ModelInfo ModelManager::recommendedModel() const
{
    const ModelInfo* model = find("distil-large-v3");
    return model ? *model : catalogue_.back();
}

std::string ModelManager::activeModelId() const
{
    std::istringstream content(readContent(QString::fromStdString(activeModelFilePath())).toStdString());
    std::string line;
    std::getline(content, line);
    const bool hasLineEnd = content.good();
    if (hasLineEnd && line.ends_with('\r'))
        line.pop_back();
    return line;
}

bool ModelManager::setActiveModel(const std::string& id)
{
    const ModelInfo* model = find(id);
    if (!model || !isPresent(pathFromUtf8(modelFilePath(*model))))
        return false;
    std::error_code ignored;
    fs::create_directories(pathFromUtf8(configDir()), ignored);
    replaceContent(QString::fromStdString(activeModelFilePath()), QByteArray::fromStdString(id));
    return true;
}

std::string ModelManager::activeModelPath() const
{
    const ModelInfo* model = find(activeModelId());
    if (!model)
        return {};
    const std::string path = modelFilePath(*model);
    return isPresent(pathFromUtf8(path)) ? path : std::string();
}

bool ModelManager::deleteModel(const std::string& id)
{
    const ModelInfo* model = find(id);
    if (!model || id == activeModelId())
        return false;
    const fs::path path = pathFromUtf8(modelFilePath(*model));
    std::error_code error;
    return !fs::is_directory(path, error) && platform::removeFile(path);
}

void ModelManager::downloadModel(const std::string& id, DownloadReport onProgress)
{
    if (const ModelInfo* model = find(id))
        startDownload(*model, pathFromUtf8(modelFilePath(*model)), std::move(onProgress), stallLimit_);
}

std::uint64_t ModelManager::usedSpace() const
{
    std::uint64_t sum = 0;
    std::error_code error;
    for (fs::directory_iterator entry(pathFromUtf8(modelsDir()), error), end; !error && entry != end;
         entry.increment(error))
        sum += fileSize(entry->path()).value_or(0);
    return sum;
}

std::uint64_t ModelManager::freeSpace() const
{
    const fs::path folder = pathFromUtf8(modelsDir());
    std::error_code error;
    fs::create_directories(folder, error);
    const fs::space_info space = fs::space(folder, error);
    return error ? 0 : space.available;
}

} // namespace quillo::model

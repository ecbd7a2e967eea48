#include "model/model_files.h"

#include "settings/paths.h"

namespace quillo::model {

namespace {

constexpr char separator = static_cast<char>(std::filesystem::path::preferred_separator);

} // namespace

std::filesystem::path pathFromUtf8(const std::string& utf8)
{
    return std::u8string(utf8.begin(), utf8.end());
}

std::string modelFilePath(const ModelInfo& model)
{
    return modelsDir() + separator + model.fileName;
}

std::string activeModelFilePath()
{
    return configDir() + separator + "active_model.txt";
}

} // namespace quillo::model

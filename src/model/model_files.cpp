#include "model/model_files.h"

#include "base/utf8_path.h"
#include "settings/paths.h"

namespace quillo::model {

std::string modelFilePath(const ModelInfo& model)
{
    return modelsDir() + pathSeparator + model.fileName;
}

std::string activeModelFilePath()
{
    return configDir() + pathSeparator + "active_model.txt";
}

} // namespace quillo::model

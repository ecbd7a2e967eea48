#pragma once

#include "model/catalogue.h"

#include <string>

namespace quillo::model {

/// Where the models lie on disk. Pure functions; nothing is created, any thread.

/// The file of a model inside modelsDir(), UTF-8.
std::string modelFilePath(const ModelInfo& model);

/// The file inside configDir() that holds the id of the active model, UTF-8.
std::string activeModelFilePath();

} // namespace quillo::model

#pragma once

#include "model/catalogue.h"
#include "model/model_download.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace quillo::model {

/// Answers what the models folder holds and which model is active, and carries out the user's choices there.
///
/// Every answer comes afresh from the catalogue and the files, so any number of managers agree. Any thread may ask;
/// changes come from the user-interface thread. What cannot be read counts as absent. Texts are UTF-8.
class ModelManager {
public:
    /// Offers these models, at least one. A download during which no byte arrives for stallLimit fails.
    explicit ModelManager(
        std::vector<ModelInfo> catalogue = modelCatalogue(), std::chrono::seconds stallLimit = std::chrono::minutes(1));

    /// Every row of the catalogue, with the status and size of its file; never Downloading or Error.
    std::vector<ModelInfo> availableModels() const;

    ModelInfo recommendedModel() const;

    /// What the user chose last, whether or not such a model exists; empty when nothing was chosen.
    std::string activeModelId() const;

    /// Makes a model active. False, with nothing changed, when it is unknown or its file is absent. That the choice
    /// could not be written is not noticed.
    bool setActiveModel(const std::string& id);

    /// The file of the active model; empty when there is no active model or its file is absent.
    std::string activeModelPath() const;

    /// Removes a model's file. False when it is the active model, unknown, absent, or cannot be removed.
    bool deleteModel(const std::string& id);

    /// Fetches a model on a thread of its own, which neither this manager nor anything else ends. What is reported
    /// when, and from which thread, is told in model_download.h. Nothing happens, and nothing is reported, when the
    /// model is unknown or its download is already under way.
    void downloadModel(const std::string& id, DownloadReport onProgress);

    /// Bytes that the files directly inside the models folder take, unfinished downloads included.
    std::uint64_t usedSpace() const;

    /// Bytes that the user may still write to the volume of the models folder, which is created if it is missing;
    /// 0 when the system cannot tell.
    std::uint64_t freeSpace() const;

private:
    const ModelInfo* find(const std::string& id) const { return findModel(id, catalogue_); }

    std::vector<ModelInfo> catalogue_;
    std::chrono::seconds stallLimit_;
};

} // namespace quillo::model

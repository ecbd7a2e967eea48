#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quillo::model {

enum class ModelStatus : std::int32_t {
    NotDownloaded = 0,
    Downloading = 1,
    Downloaded = 2,
    Active = 3, ///< downloaded, and the one chosen for transcription
    Error = 4, ///< the last download failed
};

/// One speech model. Texts are UTF-8.
struct ModelInfo {
    std::string id; ///< unique; compared byte by byte
    std::string name;
    std::string description;
    std::uint64_t sizeBytes = 0; ///< nominal in the catalogue; in a listing, of the file if there is one
    std::string fileName; ///< inside modelsDir()
    std::string url;
    ModelStatus status = ModelStatus::NotDownloaded;
    std::int32_t progress = 0; ///< of a download, in percent
};

/// All models that Quillo offers, in the order in which they are shown. Never changes; any thread.
const std::vector<ModelInfo>& modelCatalogue();

/// The first row with this id, or null. The row lives as long as its catalogue.
const ModelInfo* findModel(std::string_view id, const std::vector<ModelInfo>& catalogue = modelCatalogue());

} // namespace quillo::model

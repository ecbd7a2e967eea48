#include "model/catalogue.h"

#include <algorithm>

namespace quillo::model {

namespace {

constexpr const char* whisperRepository = "https://huggingface.co/ggerganov/whisper.cpp";
constexpr const char* distilRepository = "https://huggingface.co/distil-whisper/distil-large-v3-ggml";

ModelInfo row(const char* repository, const char* id, const char* name, const char* description,
    std::uint64_t megabytes, const std::string& fileName)
{
    return {.id = id,
        .name = name,
        .description = description,
        .sizeBytes = megabytes * 1024 * 1024,
        .fileName = fileName,
        .url = std::string(repository) + "/resolve/main/" + fileName};
}

} // namespace

const std::vector<ModelInfo>& modelCatalogue()
{
    static const std::vector<ModelInfo> catalogue{
        row(whisperRepository, "tiny", "Tiny", "Fastest, lowest accuracy. Good for quick notes.", 75, "ggml-tiny.bin"),
        row(whisperRepository, "base", "Base", "Balanced for many use cases.", 142, "ggml-base.bin"),
        row(whisperRepository, "small", "Small", "Better accuracy, moderate speed.", 466, "ggml-small.bin"),
        row(whisperRepository, "medium", "Medium", "High accuracy, slower.", 1524, "ggml-medium.bin"),
        row(whisperRepository, "large-v3", "Large v3", "Best accuracy, slowest. For maximum quality.", 3172,
            "ggml-large-v3.bin"),
        row(distilRepository, "distil-large-v3", "Distil Large v3",
            "Near-identical to large-v3, half memory, 2-3x faster. Recommended.", 800, "ggml-distil-large-v3.bin"),
    };
    return catalogue;
}

const ModelInfo* findModel(std::string_view id, const std::vector<ModelInfo>& catalogue)
{
    const auto found =
        std::find_if(catalogue.begin(), catalogue.end(), [id](const ModelInfo& model) { return model.id == id; });
    return found == catalogue.end() ? nullptr : &*found;
}

} // namespace quillo::model

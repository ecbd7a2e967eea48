#include "fuzz/fuzzing.h"

#include "model/model_manager.h"
#include "support/temporary_folder.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <filesystem>
#include <map>

namespace quillo::model {
namespace {

namespace fs = std::filesystem;
using fuzz::require;

const test::TemporaryFolder profile;
const fs::path models = profile.path() / "Quillo" / "models";
const fs::path config = profile.path() / "Quillo" / "config";
const fs::path activeFile = config / "active_model.txt";

/// What lies at a path of the models folder.
struct Item {
    enum Kind { File, Folder, LinkToFile, LinkToFolder, LinkToNothing, LinkToItself, maxKind } kind;
    std::uint16_t size; // of a file, also at the end of a link

    bool isFile() const { return kind == File || kind == LinkToFile; }
    bool isFolder() const { return kind == Folder || kind == LinkToFolder; }
    bool exists() const { return isFile() || isFolder(); }
};

/// A models folder as the fuzzer wants it, what is known about it, and the manager that is asked.
class Folder {
public:
    explicit Folder(FuzzedDataProvider& input)
    {
        fs::remove_all(profile.path() / "Quillo");
        fs::create_directories(models);
        fs::create_directories(config);
        for (int i = input.ConsumeIntegralInRange(0, 6); i > 0; --i)
            place(input);
    }

    void writeActive(const std::string& content)
    {
        fuzz::writeFile(activeFile.string(), content);
        const auto lineEnd = content.find('\n');
        active_ = content.substr(0, lineEnd);
        if (lineEnd != std::string::npos && active_.ends_with('\r'))
            active_.pop_back();
    }

    void checkAnswers() const
    {
        require(manager_.activeModelId() == active_, "the active model is the first line");
        const std::vector<ModelInfo> rows = manager_.availableModels();
        require(rows.size() == modelCatalogue().size(), "every model is listed");
        std::string activePath;
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const ModelInfo& nominal = modelCatalogue()[i];
            const Item* item = find(nominal.id);
            const bool present = item && item->isFile();
            require(rows[i].id == nominal.id && rows[i].fileName == nominal.fileName, "rows keep their order");
            require(rows[i].sizeBytes == (present ? item->size : nominal.sizeBytes), "sizes are those of the files");
            const ModelStatus status = nominal.id == active_ ? ModelStatus::Active : ModelStatus::Downloaded;
            require(rows[i].status == (present ? status : ModelStatus::NotDownloaded), "states are those of the files");
            if (nominal.id == active_ && item && item->exists())
                activePath = (models / nominal.fileName).string();
        }
        require(manager_.activeModelPath() == activePath, "the active model has its path");
        std::uint64_t sum = 0;
        for (const auto& [name, item] : items_)
            sum += item.isFile() ? item.size : 0U;
        require(manager_.usedSpace() == sum, "the space used is that of all files");
    }

    void activate(const std::string& id)
    {
        const Item* item = find(id);
        const bool possible = item && item->exists();
        require(manager_.setActiveModel(id) == possible, "what is there can be made active");
        if (possible)
            active_ = id;
    }

    void remove(const std::string& id)
    {
        const Item* item = find(id);
        const bool possible = item && !item->isFolder() && id != active_;
        require(manager_.deleteModel(id) == possible, "what is a file and not active can be deleted");
        if (possible)
            items_.erase(findModel(id)->fileName);
    }

private:
    void place(FuzzedDataProvider& input)
    {
        std::string name = input.PickValueInArray({"ggml-tiny.bin", "ggml-base.bin", "ggml-small.bin",
            "ggml-distil-large-v3.bin", "ggml-base.bin.part", "\xC3\xA4 \xFF.bin"});
        const Item item{static_cast<Item::Kind>(input.ConsumeIntegralInRange(0, Item::maxKind - 1)),
            input.ConsumeIntegral<std::uint16_t>()};
        if (!items_.emplace(name, item).second)
            return;
        const fs::path path = models / name;
        const fs::path target = item.kind == Item::LinkToItself ? path : config / name;
        if (item.isFile()) {
            fuzz::writeFile((item.kind == Item::File ? path : target).string(), {});
            fs::resize_file(item.kind == Item::File ? path : target, item.size);
        }
        if (item.isFolder())
            fs::create_directories((item.kind == Item::Folder ? path : target) / "inside");
        if (item.kind > Item::Folder)
            fs::create_symlink(target, path);
    }

    const Item* find(const std::string& id) const
    {
        const ModelInfo* model = findModel(id);
        const auto found = model ? items_.find(model->fileName) : items_.end();
        return found == items_.end() ? nullptr : &found->second;
    }

    std::map<std::string, Item> items_; // by name
    std::string active_;
    ModelManager manager_;
};

} // namespace
} // namespace quillo::model

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    return setenv("XDG_DATA_HOME", quillo::model::profile.path().c_str(), 1);
}

/// The input's end says what lies in the models folder and what is done there, its beginning is "active_model.txt".
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace quillo::model;
    FuzzedDataProvider input(data, size);
    Folder folder(input);
    if (input.ConsumeBool())
        folder.writeActive(input.ConsumeRandomLengthString(64));
    folder.checkAnswers();
    while (input.remaining_bytes() > 0) {
        const std::string id = input.ConsumeBool() ? modelCatalogue()[input.ConsumeIntegralInRange(0U, 5U)].id
                                                   : input.ConsumeRandomLengthString(16);
        input.ConsumeBool() ? folder.activate(id) : folder.remove(id);
        folder.checkAnswers();
    }
    return 0;
}

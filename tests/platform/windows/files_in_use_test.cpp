// What comes of it that a file which a program has open can be neither replaced nor removed.
#include "history/history_store.h"
#include "model/download.h"
#include "settings/settings_store.h"
#include "support/private_profile.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>

namespace quillo {
namespace {

namespace fs = std::filesystem;
using test::contentOf;
using test::writeFile;
using testing::AllOf;
using testing::HasSubstr;

/// Another program, such as a scanner or an indexer, that has a file open: nobody can replace or remove it meanwhile.
class HeldFile {
public:
    /// `shared` is what others may do in the meantime, as CreateFileW takes it.
    explicit HeldFile(const std::filesystem::path& path, DWORD shared = FILE_SHARE_READ | FILE_SHARE_WRITE)
        : file_(CreateFileW(path.c_str(), GENERIC_READ, shared, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr))
    {
        if (file_ == INVALID_HANDLE_VALUE)
            throw std::runtime_error("cannot open " + path.string());
    }
    ~HeldFile()
    {
        if (release_.joinable())
            release_.join();
        else
            CloseHandle(file_);
    }
    HeldFile(const HeldFile&) = delete;
    HeldFile& operator=(const HeldFile&) = delete;

    /// Lets go of it at a time when whoever wants it has tried in vain, but has not given up yet.
    void releaseSoon()
    {
        release_ = std::thread([file = file_] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            CloseHandle(file);
        });
    }

private:
    const HANDLE file_;
    std::thread release_;
};

const test::PrivateProfile profile;
const fs::path settings = profile.configRoot() / "Quillo" / "Quillo.ini";
const fs::path history = profile.dataRoot() / "Quillo" / "history.json";
const fs::path modelRoot = profile.configRoot() / "data";
const fs::path activeModel = modelRoot / "Quillo" / "config" / "active_model.txt";
const fs::path modelFile = modelRoot / "Quillo" / "models" / "ggml-base.bin";

std::string answer; // of the last use

void loadHistory()
{
    answer.clear();
    for (const HistoryEntry& entry : HistoryStore::load())
        answer += entry.text + ' ';
}

/// Something that the program does with a file.
struct Use {
    const char* name;
    fs::path file;
    const char* before; ///< the file's content
    void (*carryOut)();
    bool (*isDone)();

    friend void PrintTo(const Use& that, std::ostream* out) { *out << that.name; }
};

const Use uses[] = {
    {"SettingsSave", settings, "[General]\nforeign=kept\nhotkey=F9\n", [] { SettingsStore::save({}); },
        [] { return contentOf(settings).find("hotkey=\r\n") + 1 && contentOf(settings).find("foreign=kept") + 1; }},
    {"SettingsLoad", settings, "[General]\nhotkey=F9\n", [] { answer = SettingsStore::load().hotkey; },
        [] { return answer == "F9"; }},
    {"HistoryAppend", history, R"([{"text":"old"}])", [] { HistoryStore::append("new"); },
        [] { return loadHistory(), answer == "new old "; }},
    {"HistoryLoad", history, R"([{"text":"old"}])", loadHistory, [] { return answer == "old "; }},
    {"HistoryClear", history, R"([{"text":"old"}])", HistoryStore::clear, [] { return !fs::exists(history); }},
    {"ActiveModelSet", activeModel, "tiny", [] { model::ModelManager().setActiveModel("base"); },
        [] { return contentOf(activeModel) == "base"; }},
    {"ActiveModelRead", activeModel, "tiny", [] { answer = model::ModelManager().activeModelId(); },
        [] { return answer == "tiny"; }},
    {"ModelDelete", modelFile, "model", [] { answer = model::ModelManager().deleteModel("base") ? "yes" : "no"; },
        [] { return answer == "yes" && !fs::exists(modelFile); }},
};

class FileInUse : public testing::TestWithParam<Use> {
protected:
    void prepare() const
    {
        SettingsStore::load(); // writes what could not be saved before, else it would come now
        profile.empty();
        test::FakePlatform::instance().setDataRoot(modelRoot.string());
        writeFile(modelFile, "model");
        writeFile(use.file, use.before);
    }

    const Use& use = GetParam();
};

TEST_P(FileInUse, IsWaitedForAndStaysAsItIsWhenItStaysInUse)
{
    // What a program that has the file open lets others do meanwhile.
    for (const DWORD sharing : {FILE_SHARE_READ | FILE_SHARE_WRITE, FILE_SHARE_READ, 0}) {
        prepare();
        {
            HeldFile held(use.file, sharing);
            held.releaseSoon();
            use.carryOut();
        }
        EXPECT_TRUE(use.isDone()) << contentOf(use.file);

        prepare();
        {
            const HeldFile held(use.file, sharing);
            use.carryOut();
        }
        EXPECT_EQ(contentOf(use.file), use.before);
        EXPECT_EQ(std::distance(fs::directory_iterator(use.file.parent_path()), {}), 1);
    }
}

TEST(SettingsInUse, AreWrittenWhenTheFileIsFreeAgain)
{
    profile.empty();
    writeFile(settings, "[General]\nforeign=kept\nhotkey=F9\n");
    SettingsData chosen;
    chosen.hotkey = "F8";
    {
        const HeldFile held(settings);
        SettingsStore::save(chosen);
        EXPECT_EQ(SettingsStore::load().hotkey, "F8") << "the user has chosen it";
        EXPECT_THAT(contentOf(settings), HasSubstr("hotkey=F9"));
    }
    EXPECT_EQ(SettingsStore::load().hotkey, "F8");
    EXPECT_THAT(contentOf(settings), AllOf(HasSubstr("hotkey=F8"), HasSubstr("foreign=kept")));
}

INSTANTIATE_TEST_SUITE_P(, FileInUse, testing::ValuesIn(uses));

} // namespace

namespace model {
namespace {

using DownloadInUse = Download;

TEST_F(DownloadInUse, WaitsForWhatIsOpenForAMoment)
{
    const struct {
        fs::path held;
        int fromPercent;
        const char* answer;
        ModelStatus end;
    } cases[] = {{one, 100, "", ModelStatus::Downloaded}, {onePart, 100, "", ModelStatus::Downloaded},
        {onePart, 49, R"("how": "short")", ModelStatus::Error}};
    for (const auto& [file, fromPercent, answer, end] : cases) {
        writeFile(one, "old model");
        server->answer("/one", model(answer));
        const Reports seen;
        std::optional<HeldFile> held;
        managerOf().downloadModel("one", [&, receive = seen.receiver()](const ModelInfo& info, int reached) {
            receive(info, reached);
            if (reached >= fromPercent && !held) {
                held.emplace(file);
                held->releaseSoon();
            }
        });
        awaitEnd();
        EXPECT_TRUE(held) << "nothing was in the way";
        seen.expectEnd(end);
        EXPECT_TRUE(contentOf(one) == (end == ModelStatus::Downloaded ? content : "old model"));
        EXPECT_FALSE(fs::exists(onePart));
    }
}

TEST_F(DownloadInUse, KeepsTheOldModelWhenThatStaysInUse)
{
    writeFile(one, "old model");
    server->answer("/one", model());
    {
        const HeldFile held(one);
        managerOf().downloadModel("one", reports.receiver());
        awaitEnd();
    }
    reports.expectEnd(ModelStatus::Error);
    EXPECT_EQ(contentOf(one), "old model");
    EXPECT_FALSE(fs::exists(onePart));
}

} // namespace
} // namespace model
} // namespace quillo

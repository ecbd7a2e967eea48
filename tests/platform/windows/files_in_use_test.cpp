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
#include <stop_token>
#include <string>
#include <thread>

namespace quillo {
namespace {

namespace fs = std::filesystem;
using test::contentOf;
using test::writeFile;
using testing::AllOf;
using testing::HasSubstr;

/// Opens a file as other programs do, scanners and indexers for one: nobody can replace or remove it until the result
/// goes, or only until whoever wants it has tried in vain, but has not given up yet.
/// @param shared what others may do meanwhile, as CreateFileW takes it
std::jthread hold(const fs::path& path, bool briefly, DWORD shared = FILE_SHARE_READ | FILE_SHARE_WRITE)
{
    const HANDLE file =
        CreateFileW(path.c_str(), GENERIC_READ, shared, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_NE(file, INVALID_HANDLE_VALUE) << path;
    return std::jthread([=](const std::stop_token& end) {
        for (int pauses = 0; briefly ? pauses < 5 : !end.stop_requested(); ++pauses)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        CloseHandle(file);
    });
}

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

TEST(FileInUse, IsWaitedForAndStaysAsItIsWhenItStaysInUse)
{
    for (const Use& use : uses)
        for (const bool briefly : {true, false})
            // What a program that has the file open lets others do meanwhile.
            for (const DWORD shared : {FILE_SHARE_READ | FILE_SHARE_WRITE, FILE_SHARE_READ, 0}) {
                SCOPED_TRACE(testing::Message() << use.name << (briefly ? ", briefly, " : ", ") << shared);
                SettingsStore::load(); // writes what could not be saved before, else it would come now
                profile.empty();
                test::FakePlatform::instance().setDataRoot(modelRoot.string());
                writeFile(modelFile, "model");
                writeFile(use.file, use.before);
                {
                    const std::jthread held = hold(use.file, briefly, shared);
                    use.carryOut();
                }
                if (briefly) {
                    EXPECT_TRUE(use.isDone()) << contentOf(use.file);
                    continue;
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
        const std::jthread held = hold(settings, false);
        SettingsStore::save(chosen);
        EXPECT_EQ(SettingsStore::load().hotkey, "F8") << "the user has chosen it";
        EXPECT_THAT(contentOf(settings), HasSubstr("hotkey=F9"));
    }
    EXPECT_EQ(SettingsStore::load().hotkey, "F8");
    EXPECT_THAT(contentOf(settings), AllOf(HasSubstr("hotkey=F8"), HasSubstr("foreign=kept")));
}

} // namespace

namespace model {
namespace {

using DownloadInUse = Download;

TEST_F(DownloadInUse, WaitsForAMomentAndKeepsTheOldModelUnlessAllWentWell)
{
    const struct {
        fs::path held;
        bool briefly;
        int fromPercent;
        const char* answer;
        ModelStatus end;
    } cases[] = {{one, true, 100, "", ModelStatus::Downloaded}, {onePart, true, 100, "", ModelStatus::Downloaded},
        {onePart, true, 49, R"("how": "short")", ModelStatus::Error}, {one, false, 100, "", ModelStatus::Error}};
    for (const auto& [file, briefly, fromPercent, answer, end] : cases) {
        writeFile(one, "old model");
        server->answer("/one", model(answer));
        const Reports seen;
        std::jthread held;
        managerOf().downloadModel("one", [&, receive = seen.receiver()](const ModelInfo& info, int reached) {
            receive(info, reached);
            if (reached >= fromPercent && !held.joinable())
                held = hold(file, briefly);
        });
        awaitEnd();
        EXPECT_TRUE(held.joinable()) << "nothing was in the way";
        seen.expectEnd(end);
        EXPECT_TRUE(contentOf(one) == (end == ModelStatus::Downloaded ? content : "old model"));
        EXPECT_FALSE(fs::exists(onePart));
    }
}

} // namespace
} // namespace model
} // namespace quillo

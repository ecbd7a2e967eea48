#include "ui/settings/models_tab.h"

#include "base/utf8_path.h"
#include "model/model_manager.h"
#include "net/curl_runtime.h"
#include "settings/paths.h"
#include "ui/settings/model_card_widget.h"

#include "stand_ins/fake_platform.h"
#include "support/files.h"
#include "support/private_profile.h"
#include "support/stand_in_services.h"
#include "support/widgets.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

namespace quillo {
namespace {

using model::ModelStatus;
using test::labelText;
using testing::ElementsAre;
using ui::ModelCardWidget;

const test::PrivateProfile profile;

std::filesystem::path modelFile(const std::string& id)
{
    return pathFromUtf8(modelsDir()) / ("ggml-" + id + ".bin");
}

class ModelsTabTest : public testing::Test {
protected:
    ModelsTabTest()
    {
        profile.empty();
        test::FakePlatform::instance().setDataRoot(profile.dataRoot().string());
    }
    ~ModelsTabTest() override
    {
        page.reset();
        EXPECT_TRUE(test::waitFor([] { return !CurlRuntime::inUse(); })) << "a download still runs";
    }

    void open()
    {
        page.emplace(&manager, [this](const std::string& id) { activated.push_back(id); });
        page->show();
        page->activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&*page));
    }

    ModelCardWidget& card(const std::string& id)
    {
        for (auto* card : page->findChildren<ModelCardWidget*>())
            if (card->id() == id)
                return *card;
        throw std::out_of_range(id);
    }
    QPushButton& button(const std::string& id, const char* name) { return test::find(card(id), name); }
    QString state(const std::string& id) { return labelText(card(id), "statusBadge").trimmed(); }
    bool becomes(const std::string& id, const char* expected)
    {
        return test::waitFor([&] { return state(id) == expected; });
    }
    bool usageIs(const char* used) { return labelText(*page, "diskUsageLabel").startsWith(QString(used) + " used / "); }

    model::ModelManager manager;
    std::optional<ModelsTab> page;
    std::vector<std::string> activated;
};

TEST(FormatSizeTest, UsesTheLargestUnit)
{
    const std::pair<std::uint64_t, const char*> cases[] = {{0, "0 B"}, {1023, "1023 B"}, {1024, "1 KB"},
        {1'048'575, "1024 KB"}, {1'048'576, "1 MB"}, {1'073'741'823, "1024 MB"}, {1'598'029'824, "1.5 GB"}};
    for (const auto& [bytes, expected] : cases)
        EXPECT_EQ(ui::formatSize(bytes), expected);
}

TEST_F(ModelsTabTest, FreshInstallOffersSixModelsAtTheirSizesUnderAnyStyleSheet)
{
    qApp->setStyleSheet("QPushButton { min-height: 60px; } QFrame { min-height: 5px; }");
    open();
    EXPECT_EQ(button("tiny", "downloadButton").height(), 30);
    EXPECT_EQ(page->findChild<QFrame*>("modelsSeparator")->height(), 1);
    qApp->setStyleSheet({});
    EXPECT_LT(card("tiny").y(), card("base").y());
    page->populateModels(&manager); // afresh, not once more
    std::vector<QString> rows;
    for (const auto* card : page->findChildren<ModelCardWidget*>())
        rows.push_back(labelText(*card, "nameLabel") + labelText(*card, "statusBadge") + labelText(*card, "sizeLabel")
            + (card->findChild<QLabel*>("recommendedBadge") ? " *" : ""));
    EXPECT_THAT(rows,
        ElementsAre("Tiny  Not Downloaded  75 MB", "Base  Not Downloaded  142 MB", "Small  Not Downloaded  466 MB",
            "Medium  Not Downloaded  1.5 GB", "Large v3  Not Downloaded  3.1 GB",
            "Distil Large v3  Not Downloaded  800 MB *"));
    EXPECT_FALSE(labelText(card("tiny"), "descriptionLabel").isEmpty());
    EXPECT_TRUE(usageIs("0 B"));
}

TEST(ModelCard, ShowsWhatCanBeDone)
{
    const std::tuple<ModelStatus, const char*, const char*> states[] = {
        {ModelStatus::NotDownloaded, "  Not Downloaded  ", "downloadButton "},
        {ModelStatus::Downloading, "  Downloading...  ", "progressRow "},
        {ModelStatus::Downloaded, "  Downloaded  ", "setActiveButton deleteButton "},
        {ModelStatus::Active, "  Active  ", "deleteButton off Cannot delete the active model"},
        {ModelStatus::Error, "  Error  ", "downloadButton "}};
    ModelCardWidget card({"base", "Base", "text", 1, ModelStatus::NotDownloaded, false, 0});
    card.show();
    for (const auto& before : states)
        for (const auto& [status, badge, expected] : states) {
            card.setStatus(std::get<ModelStatus>(before));
            card.setStatus(status);
            QString parts; // what is there beside the badge
            for (const char* name : {"progressRow", "downloadButton", "setActiveButton", "deleteButton"})
                if (const auto& part = test::find<QWidget>(card, name); part.isVisible())
                    parts += QString(name) + (part.isEnabled() ? " " : " off ") + part.toolTip();
            EXPECT_EQ(parts, expected) << badge << " after " << std::get<1>(before);
            EXPECT_EQ(labelText(card, "statusBadge"), badge);
        }
}

// A key that is pressed twice or held must not do to the next model what it did to this one.
TEST_F(ModelsTabTest, SetActivePromotesOneDemotesTheOtherAndKeepsTheFocus)
{
    for (const char* id : {"tiny", "base", "small"})
        test::writeFile(modelFile(id), "model");
    manager.setActiveModel("base");
    open();
    button("tiny", "setActiveButton").setFocus();
    for (int i = 0; i < 3; ++i)
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
    EXPECT_EQ(QApplication::focusWidget(), &card("tiny"));
    EXPECT_EQ(state("base"), "Downloaded");
    EXPECT_EQ(manager.activeModelId(), "tiny");
    QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, {}, {}, true);
    QApplication::sendEvent(&card("tiny"), &enter);
    EXPECT_TRUE(enter.isAccepted()) << "the window would take it for OK";

    std::filesystem::remove(modelFile("base")); // behind the program's back
    button("base", "setActiveButton").click();
    EXPECT_EQ(state("tiny"), "Active");
    EXPECT_THAT(activated, ElementsAre("tiny"));
}

TEST_F(ModelsTabTest, DeleteAsksFirst)
{
    test::writeFile(modelFile("base"), "");
    std::filesystem::resize_file(modelFile("base"), 148'897'792);
    open();
    const auto answer = [this](QMessageBox::StandardButton given) {
        button("base", "deleteButton").click();
        auto& question = test::find<QMessageBox>(card("base"), "deleteQuestion");
        EXPECT_TRUE(question.isModal());
        EXPECT_EQ(question.windowTitle(), "Delete Model");
        EXPECT_EQ(question.text(), "Delete Base? This will free 142 MB.");
        EXPECT_EQ(question.defaultButton(), question.button(QMessageBox::No));
        question.button(given)->click();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    };
    answer(QMessageBox::No);
    EXPECT_TRUE(exists(modelFile("base")) && state("base") == "Downloaded" && usageIs("142 MB"));
    answer(QMessageBox::Yes);
    EXPECT_TRUE(!exists(modelFile("base")) && state("base") == "Not Downloaded" && usageIs("0 B"));

    test::writeFile(modelFile("base"), "");
    page->populateModels(&manager);
    std::filesystem::remove(modelFile("base")); // behind the program's back
    button("base", "deleteButton").click();
    test::find<QMessageBox>(card("base"), "deleteQuestion").button(QMessageBox::Yes)->click();
    EXPECT_EQ(state("base"), "Downloaded");
}

/// The file browser of the desktop. A QTextBrowser because that has a slot for a URL.
struct FileBrowser : QTextBrowser {
    FileBrowser() { QDesktopServices::setUrlHandler("file", this, "setSource"); }
    ~FileBrowser() override { QDesktopServices::unsetUrlHandler("file"); }
    void doSetSource(const QUrl& url, QTextDocument::ResourceType) override { opened.append(url); }

    QList<QUrl> opened;
};

TEST_F(ModelsTabTest, ShowsAndOpensTheFolder)
{
    FileBrowser browser;
    open();
    const auto& label = test::find<QLabel>(*page, "modelsPathLabel");
    for (const int width : {300, 2000}) {
        page->resize(width, 500);
        EXPECT_EQ(label.text(), label.fontMetrics().elidedText(label.toolTip(), Qt::ElideMiddle, label.width()));
        EXPECT_EQ(label.text() == label.toolTip(), width == 2000);
    }
    EXPECT_EQ(QDir::toNativeSeparators(label.toolTip()).toStdString(), modelsDir());
    test::click(*page, "openFolderButton");
    EXPECT_EQ(browser.opened, QList{QUrl::fromLocalFile(label.toolTip())});
}

/// Everything a card's badge has said, and how many events other threads have posted.
struct Log : QObject {
    explicit Log(ModelCardWidget& card)
        : badge(test::find<QLabel>(card, "statusBadge"))
    {
        qApp->installEventFilter(this);
    }
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (watched == &badge && event->type() == QEvent::StyleChange)
            states.push_back(badge.text().trimmed());
        posts += event->type() == QEvent::MetaCall && !watched->isWidgetType(); // a scroll area posts its own
        return false;
    }

    const QLabel& badge;
    std::vector<QString> states;
    int posts = 0;
};

class ModelDownloadTest : public ModelsTabTest {
protected:
    ModelDownloadTest()
    {
        std::vector<model::ModelInfo> catalogue = model::modelCatalogue();
        for (model::ModelInfo& model : catalogue)
            model.url = services->url("/" + model.id);
        manager = model::ModelManager(catalogue);
    }
    ~ModelDownloadTest() override { services.reset(); } // ends what is stalled

    std::optional<test::StandInServices> services{std::in_place};
};

// The page of an error arrives completely as well.
TEST_F(ModelDownloadTest, FailsAndIsRetriedWithAHundredEventsForAStormOfReports)
{
    services->answer("/tiny", R"([{"status": 404, "size": 200}, {"size": 2097152, "chunk": 1024}])");
    open();
    Log log(card("tiny"));
    auto& download = button("tiny", "downloadButton");
    download.setFocus();
    download.click();
    EXPECT_EQ(QApplication::focusWidget(), &card("tiny"));
    EXPECT_EQ(labelText(card("tiny"), "progressLabel"), "0%");
    EXPECT_TRUE(becomes("tiny", "Error"));
    EXPECT_FALSE(exists(modelFile("tiny")));
    log.posts = 0;
    download.click();
    EXPECT_TRUE(becomes("tiny", "Downloaded"));
    EXPECT_THAT(log.states, ElementsAre("Downloading...", "Error", "Downloading...", "Downloaded"));
    EXPECT_GT(log.posts, 1);
    EXPECT_LE(log.posts, 101);
    EXPECT_EQ(test::find<QProgressBar>(card("tiny"), "progressBar").value(), 100);
    EXPECT_TRUE(usageIs("2 MB"));
}

TEST_F(ModelDownloadTest, CardReturnsToItsDownload)
{
    services->answer("/small", R"({"size": 90000000, "how": "stall-midway"})"); // a hundred times it is beyond 32 bits
    test::writeFile(modelFile("base"), "model");
    open();
    const auto isHalfWay = [this] {
        return state("small") == "Downloading..." && labelText(card("small"), "progressLabel") == "50%";
    };
    button("small", "downloadButton").click();
    ASSERT_TRUE(test::waitFor(isHalfWay));
    button("base", "setActiveButton").click(); // the listing knows nothing of downloads
    EXPECT_EQ(state("small"), "Not Downloaded");
    EXPECT_TRUE(test::waitFor(isHalfWay)) << "the percentage has not changed";
    EXPECT_EQ(services->requests().size(), 1U);
}

TEST_F(ModelDownloadTest, PageMayGoDuringDownloads)
{
    open();
    for (const std::string id : {"tiny", "base"}) {
        services->answer("/" + id, R"({"size": 4194304, "chunk": 1024, "delay": 0.0001})");
        button(id, "downloadButton").click();
    }
    ASSERT_TRUE(test::waitFor([this] { return labelText(card("base"), "progressLabel") != "0%"; }));
    page.reset();
    EXPECT_TRUE(test::waitFor([] { return exists(modelFile("tiny")) && exists(modelFile("base")); }));
}

} // namespace
} // namespace quillo

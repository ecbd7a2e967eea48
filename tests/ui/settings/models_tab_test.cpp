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

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <QTextBrowser>
#include <QUrl>

#include <gmock/gmock.h>

#include <optional>

namespace quillo {
namespace {

using model::ModelStatus;
using testing::ElementsAre;
using ui::ModelCardWidget;

const test::PrivateProfile profile;
constexpr int patience = 20'000; // ms

/// The file browser of the desktop. A QTextBrowser because that has a slot for a URL.
class FileBrowser : public QTextBrowser {
public:
    FileBrowser() { QDesktopServices::setUrlHandler("file", this, "setSource"); }
    ~FileBrowser() override { QDesktopServices::unsetUrlHandler("file"); }

    QList<QUrl> opened;

protected:
    void doSetSource(const QUrl& url, QTextDocument::ResourceType) override { opened.append(url); }
};

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
        EXPECT_TRUE(QTest::qWaitFor([] { return !CurlRuntime::inUse(); }, patience)) << "a download still runs";
    }

    static std::filesystem::path modelFile(const std::string& id)
    {
        return pathFromUtf8(modelsDir()) / ("ggml-" + id + ".bin");
    }

    void open()
    {
        page.emplace(&manager, [this](const std::string& id) { activated.push_back(id); });
        page->show();
        page->activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&*page, patience));
    }

    ModelCardWidget& card(const std::string& id)
    {
        for (auto* card : page->findChildren<ModelCardWidget*>())
            if (card->id() == id)
                return *card;
        throw std::out_of_range(id);
    }

    static QString text(const QWidget& parent, const char* label) { return parent.findChild<QLabel*>(label)->text(); }
    QString state(const std::string& id) { return text(card(id), "statusBadge").trimmed(); }
    bool becomes(const std::string& id, const char* expected)
    {
        return QTest::qWaitFor([&] { return state(id) == expected; }, patience);
    }
    void click(const std::string& id, const char* button) { card(id).findChild<QPushButton*>(button)->click(); }
    bool usageIs(const char* used) { return text(*page, "diskUsageLabel").startsWith(QString(used) + " used / "); }

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

TEST_F(ModelsTabTest, FreshInstallOffersSixModels)
{
    open();
    EXPECT_LT(card("tiny").y(), card("base").y());
    page->populateModels(&manager); // afresh, not once more
    std::vector<std::string> rows;
    for (const auto* card : page->findChildren<ModelCardWidget*>())
        rows.push_back((text(*card, "nameLabel") + text(*card, "statusBadge") + text(*card, "sizeLabel")
            + (card->findChild<QLabel*>("recommendedBadge") ? " *" : ""))
                           .toStdString());
    EXPECT_THAT(rows,
        ElementsAre("Tiny  Not Downloaded  75 MB", "Base  Not Downloaded  142 MB", "Small  Not Downloaded  466 MB",
            "Medium  Not Downloaded  1.5 GB", "Large v3  Not Downloaded  3.1 GB",
            "Distil Large v3  Not Downloaded  800 MB *"));
    EXPECT_FALSE(text(card("tiny"), "descriptionLabel").isEmpty());
    EXPECT_TRUE(usageIs("0 B"));
}

TEST(ModelCard, ShowsWhatCanBeDone)
{
    struct State {
        ModelStatus status;
        const char* badge;
        const char* parts; ///< what is there, beside the badge
    };
    const State states[] = {{ModelStatus::NotDownloaded, "  Not Downloaded  ", "downloadButton "},
        {ModelStatus::Downloading, "  Downloading...  ", "progressRow "},
        {ModelStatus::Downloaded, "  Downloaded  ", "setActiveButton deleteButton "},
        {ModelStatus::Active, "  Active  ", "deleteButton off Cannot delete the active model"},
        {ModelStatus::Error, "  Error  ", "downloadButton "}};
    ModelCardWidget card({"base", "Base", "text", 1, ModelStatus::NotDownloaded, false, 0});
    card.show();
    for (const State& before : states)
        for (const auto& [status, badge, expected] : states) {
            card.setStatus(before.status);
            card.setStatus(status);
            QString parts;
            for (const char* name : {"progressRow", "downloadButton", "setActiveButton", "deleteButton"})
                if (const auto* part = card.findChild<QWidget*>(name); part->isVisible())
                    parts += QString(name) + (part->isEnabled() ? " " : " off ") + part->toolTip();
            EXPECT_EQ(parts, expected) << badge << " after " << before.badge;
            EXPECT_EQ(card.findChild<QLabel*>("statusBadge")->text(), badge);
        }
}

// A key that is pressed twice or held must not do to the next model what it did to this one.
TEST_F(ModelsTabTest, SetActivePromotesOneDemotesTheOtherAndKeepsTheFocus)
{
    for (const char* id : {"tiny", "base", "small"})
        test::writeFile(modelFile(id), "model");
    manager.setActiveModel("base");
    open();
    card("tiny").findChild<QPushButton*>("setActiveButton")->setFocus();
    for (int i = 0; i < 3; ++i)
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
    EXPECT_EQ(QApplication::focusWidget(), &card("tiny"));
    EXPECT_EQ(state("tiny"), "Active");
    EXPECT_EQ(state("base"), "Downloaded");
    EXPECT_THAT(activated, ElementsAre("tiny"));
    EXPECT_EQ(manager.activeModelId(), "tiny");
    QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, {}, {}, true);
    QApplication::sendEvent(&card("tiny"), &enter);
    EXPECT_TRUE(enter.isAccepted()) << "the window would take it for OK";

    std::filesystem::remove(modelFile("base")); // behind the program's back
    click("base", "setActiveButton");
    EXPECT_EQ(state("tiny"), "Active");
    EXPECT_THAT(activated, ElementsAre("tiny"));
}

TEST_F(ModelsTabTest, DeleteAsksFirst)
{
    for (const char* id : {"base", "tiny"})
        test::writeFile(modelFile(id), "");
    std::filesystem::resize_file(modelFile("base"), 148'897'792);
    open();
    const auto answer = [this](QMessageBox::StandardButton button) {
        click("base", "deleteButton");
        auto* const question = card("base").findChild<QMessageBox*>();
        ASSERT_TRUE(question && question->isModal());
        EXPECT_EQ(question->windowTitle(), "Delete Model");
        EXPECT_EQ(question->text(), "Delete Base? This will free 142 MB.");
        EXPECT_EQ(question->defaultButton(), question->button(QMessageBox::No));
        question->button(button)->click();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    };
    answer(QMessageBox::No);
    EXPECT_EQ(state("base"), "Downloaded");
    EXPECT_TRUE(exists(modelFile("base")) && usageIs("142 MB"));
    answer(QMessageBox::Yes);
    EXPECT_EQ(state("base"), "Not Downloaded");
    EXPECT_TRUE(!exists(modelFile("base")) && usageIs("0 B"));

    click("tiny", "deleteButton"); // but it has gone behind the program's back
    std::filesystem::remove(modelFile("tiny"));
    card("tiny").findChild<QMessageBox*>()->button(QMessageBox::Yes)->click();
    EXPECT_EQ(state("tiny"), "Downloaded");
}

TEST_F(ModelsTabTest, ShowsAndOpensTheFolder)
{
    FileBrowser browser;
    open();
    const auto* const label = page->findChild<QLabel*>("modelsPathLabel");
    for (const int width : {300, 2000}) {
        page->resize(width, 500);
        EXPECT_EQ(label->text(), label->fontMetrics().elidedText(label->toolTip(), Qt::ElideMiddle, label->width()));
        EXPECT_EQ(label->text() == label->toolTip(), width == 2000);
    }
    EXPECT_EQ(QDir::toNativeSeparators(label->toolTip()).toStdString(), modelsDir());
    page->findChild<QPushButton*>("openFolderButton")->click();
    EXPECT_EQ(browser.opened, QList{QUrl::fromLocalFile(label->toolTip())});
}

TEST_F(ModelsTabTest, KeepsItsSizesUnderAStyleSheet)
{
    qApp->setStyleSheet("QPushButton { min-height: 60px; } QFrame { min-height: 5px; }");
    open();
    EXPECT_EQ(card("tiny").findChild<QPushButton*>("downloadButton")->height(), 30);
    EXPECT_EQ(page->findChild<QFrame*>("modelsSeparator")->height(), 1);
    qApp->setStyleSheet({});
}

/// Everything a card's badge has said, and how many events other threads have posted.
class Log : public QObject {
public:
    explicit Log(ModelCardWidget& card)
        : badge_(card.findChild<QLabel*>("statusBadge"))
    {
        qApp->installEventFilter(this);
    }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (watched == badge_ && event->type() == QEvent::StyleChange)
            states.push_back(badge_->text().trimmed().toStdString());
        posts += event->type() == QEvent::MetaCall && !watched->isWidgetType(); // a scroll area posts its own
        return false;
    }

    std::vector<std::string> states;
    int posts = 0;

private:
    QLabel* badge_;
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
    card("tiny").findChild<QPushButton*>("downloadButton")->setFocus();
    click("tiny", "downloadButton");
    EXPECT_EQ(QApplication::focusWidget(), &card("tiny"));
    EXPECT_EQ(state("tiny"), "Downloading...");
    EXPECT_EQ(text(card("tiny"), "progressLabel"), "0%");
    EXPECT_TRUE(becomes("tiny", "Error"));
    EXPECT_FALSE(exists(modelFile("tiny")));
    log.posts = 0;
    click("tiny", "downloadButton");
    EXPECT_TRUE(becomes("tiny", "Downloaded"));
    EXPECT_THAT(log.states, ElementsAre("Downloading...", "Error", "Downloading...", "Downloaded"));
    EXPECT_GT(log.posts, 1);
    EXPECT_LE(log.posts, 101);
    EXPECT_EQ(card("tiny").findChild<QProgressBar*>("progressBar")->value(), 100);
    EXPECT_TRUE(usageIs("2 MB"));
}

TEST_F(ModelDownloadTest, CardReturnsToItsDownload)
{
    services->answer("/small", R"({"size": 90000000, "how": "stall-midway"})"); // a hundred times it is beyond 32 bits
    test::writeFile(modelFile("base"), "model");
    open();
    const auto isHalfWay = [this] {
        return state("small") == "Downloading..." && text(card("small"), "progressLabel") == "50%";
    };
    click("small", "downloadButton");
    ASSERT_TRUE(QTest::qWaitFor(isHalfWay, patience));
    click("base", "setActiveButton"); // the listing knows nothing of downloads
    EXPECT_EQ(state("small"), "Not Downloaded");
    EXPECT_TRUE(QTest::qWaitFor(isHalfWay, patience)) << "the percentage has not changed";
    EXPECT_EQ(services->requests().size(), 1U);
}

TEST_F(ModelDownloadTest, PageMayGoDuringDownloads)
{
    for (const std::string id : {"tiny", "base"})
        services->answer("/" + id, R"({"size": 4194304, "chunk": 1024, "delay": 0.0001})");
    open();
    for (const char* id : {"tiny", "base"})
        click(id, "downloadButton");
    ASSERT_TRUE(QTest::qWaitFor([this] { return text(card("base"), "progressLabel") != "0%"; }, patience));
    page.reset();
    for (const char* id : {"tiny", "base"})
        EXPECT_TRUE(QTest::qWaitFor([id] { return exists(modelFile(id)); }, patience)) << id;
}

} // namespace
} // namespace quillo

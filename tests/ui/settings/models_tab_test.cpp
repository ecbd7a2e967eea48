#include "ui/settings/models_tab.h"

#include "base/utf8_path.h"
#include "model/model_manager.h"
#include "net/curl_runtime.h"
#include "settings/paths.h"
#include "ui/settings/model_card_widget.h"

#include "support/fake_platform.h"
#include "support/files.h"
#include "support/private_profile.h"
#include "support/stand_in_services.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QHelpEvent>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QTest>
#include <QTextBrowser>
#include <QToolTip>
#include <QUrl>

#include <gmock/gmock.h>

#include <filesystem>
#include <optional>

namespace quillo {

namespace {

using model::ModelStatus;
using testing::ElementsAre;
using ui::ModelCardWidget;

const test::PrivateProfile profile;
constexpr int patience = 60000; // ms

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

    static void install(const std::string& id, std::uintmax_t size)
    {
        test::writeFile(modelFile(id), {});
        std::filesystem::resize_file(modelFile(id), size);
    }

    void open()
    {
        page.emplace();
        page->setOnActiveModelChanged([this](const std::string& id) { activated.push_back(id); });
        page->populateModels(&manager);
        page->resize(540, 500);
        page->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&*page, patience));
    }

    QList<ModelCardWidget*> cards() { return page->findChildren<ModelCardWidget*>("modelCard"); }

    ModelCardWidget& card(const std::string& id)
    {
        for (ModelCardWidget* card : cards())
            if (card->id() == id)
                return *card;
        throw std::out_of_range(id);
    }

    static QString text(const QWidget& parent, const char* label) { return parent.findChild<QLabel*>(label)->text(); }
    QString state(const std::string& id) { return text(card(id), "statusBadge").trimmed(); }
    void waitForState(const std::string& id, const char* expected)
    {
        EXPECT_TRUE(QTest::qWaitFor([&] { return state(id) == expected; }, patience)) << qPrintable(state(id));
    }

    void click(const std::string& id, const char* button)
    {
        auto* const widget = card(id).findChild<QPushButton*>(button);
        ASSERT_TRUE(QTest::qWaitFor([&] { return widget->isVisible(); }, patience));
        page->findChild<QScrollArea*>("modelsScrollArea")->ensureWidgetVisible(widget);
        QTest::mouseClick(widget, Qt::LeftButton);
    }

    model::ModelManager manager;
    std::optional<ModelsTab> page;
    std::vector<std::string> activated;
};

TEST(FormatSizeTest, UsesTheLargestUnit)
{
    const std::pair<std::uint64_t, const char*> cases[] = {{0, "0 B"}, {1023, "1023 B"}, {1024, "1 KB"},
        {1'048'575, "1024 KB"}, {1'048'576, "1 MB"}, {78'643'200, "75 MB"}, {1'073'741'823, "1024 MB"},
        {1'598'029'824, "1.5 GB"}, {3'326'083'072, "3.1 GB"}};
    for (const auto& [bytes, expected] : cases)
        EXPECT_EQ(ui::formatSize(bytes), expected);
}

TEST_F(ModelsTabTest, FreshInstallOffersSixModels)
{
    open();
    std::vector<std::string> rows;
    for (const ModelCardWidget* card : cards())
        rows.push_back((text(*card, "nameLabel") + text(*card, "statusBadge") + text(*card, "sizeLabel")
            + (card->findChild<QLabel*>("recommendedBadge") ? " *" : ""))
                           .toStdString());
    EXPECT_THAT(rows,
        ElementsAre("Tiny  Not Downloaded  75 MB", "Base  Not Downloaded  142 MB", "Small  Not Downloaded  466 MB",
            "Medium  Not Downloaded  1.5 GB", "Large v3  Not Downloaded  3.1 GB",
            "Distil Large v3  Not Downloaded  800 MB *"));
    EXPECT_EQ(card("base").findChild<QPushButton*>("downloadButton")->accessibleName(), "Download Base");
    EXPECT_TRUE(text(*page, "diskUsageLabel").startsWith("0 B used / "));
    for (int i = 1; i < cards().size(); ++i)
        EXPECT_LT(cards()[i - 1]->y(), cards()[i]->y());
    page->populateModels(&manager); // afresh, not once more
    EXPECT_EQ(cards().size(), 6);
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

TEST_F(ModelsTabTest, SetActivePromotesOneAndDemotesTheOther)
{
    install("tiny", 1000);
    install("base", 2000);
    manager.setActiveModel("tiny");
    open();
    EXPECT_EQ(state("tiny"), "Active");
    click("base", "setActiveButton");
    EXPECT_EQ(state("tiny"), "Downloaded");
    EXPECT_EQ(state("base"), "Active");
    EXPECT_THAT(activated, ElementsAre("base"));
    EXPECT_EQ(manager.activeModelId(), "base");
}

// A key that is pressed twice or held must not do to the next model what it did to this one.
TEST_F(ModelsTabTest, FocusStaysWithTheCardWhoseButtonGoes)
{
    install("tiny", 1);
    install("base", 1);
    open();
    page->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&*page, patience));
    card("tiny").findChild<QPushButton*>("setActiveButton")->setFocus();
    for (int i = 0; i < 3; ++i)
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
    EXPECT_EQ(QApplication::focusWidget(), &card("tiny"));
    EXPECT_THAT(activated, ElementsAre("tiny"));
    QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, {}, {}, true);
    QApplication::sendEvent(&card("tiny"), &enter);
    EXPECT_TRUE(enter.isAccepted()) << "the window would take it for OK";
}

TEST_F(ModelsTabTest, DeleteAsksFirst)
{
    install("base", 148'897'792);
    open();
    const auto answer = [this](QMessageBox::StandardButton button) {
        click("base", "deleteButton");
        auto* const question = card("base").findChild<QMessageBox*>();
        ASSERT_TRUE(question && question->isModal());
        EXPECT_EQ(question->windowTitle(), "Delete Model");
        EXPECT_EQ(question->text(), "Delete Base? This will free 142 MB.");
        QTest::mouseClick(question->button(button), Qt::LeftButton);
    };
    answer(QMessageBox::No);
    EXPECT_EQ(state("base"), "Downloaded");
    EXPECT_TRUE(exists(modelFile("base")));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    answer(QMessageBox::Yes);
    EXPECT_EQ(state("base"), "Not Downloaded");
    EXPECT_FALSE(exists(modelFile("base")));
    EXPECT_EQ(text(card("base"), "sizeLabel"), "142 MB");
    EXPECT_TRUE(text(*page, "diskUsageLabel").startsWith("0 B used / "));
}

TEST_F(ModelsTabTest, WhatIsRefusedChangesNothing)
{
    install("tiny", 1);
    install("base", 1);
    open();
    std::filesystem::remove_all(pathFromUtf8(modelsDir())); // behind the program's back
    click("tiny", "setActiveButton");
    click("base", "deleteButton");
    QTest::mouseClick(card("base").findChild<QMessageBox*>()->button(QMessageBox::Yes), Qt::LeftButton);
    EXPECT_EQ(state("tiny"), "Downloaded");
    EXPECT_EQ(state("base"), "Downloaded");
    EXPECT_THAT(activated, testing::IsEmpty());
}

TEST_F(ModelsTabTest, ShowsAndOpensTheFolder)
{
    FileBrowser browser;
    ModelsTab tab;
    const auto* const label = tab.findChild<QLabel*>("modelsPathLabel");
    const auto fits = [label](int width) {
        return label->text() == label->fontMetrics().elidedText(label->toolTip(), Qt::ElideMiddle, width);
    };
    tab.populateModels(&manager);
    EXPECT_EQ(QDir::toNativeSeparators(label->toolTip()).toStdString(), modelsDir());
    EXPECT_TRUE(fits(280)); // no layout yet
    tab.resize(300, 500);
    tab.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&tab, patience));
    EXPECT_TRUE(fits(label->width()));
    EXPECT_TRUE(label->text() != label->toolTip());
    tab.resize(2000, 500);
    EXPECT_TRUE(label->text() == label->toolTip());
    QTest::mouseClick(tab.findChild<QPushButton*>("openFolderButton"), Qt::LeftButton);
    EXPECT_EQ(browser.opened, QList{QUrl::fromLocalFile(label->toolTip())});
}

TEST_F(ModelsTabTest, KeepsItsSizesAndToolTipsReadableUnderAStyleSheet)
{
    install("base", 1);
    manager.setActiveModel("base");
    qApp->setStyleSheet("QPushButton { min-height: 60px; } QFrame { min-height: 5px; }"
                        "QToolTip { background: #112233; border: 5px solid #112233; }");
    open();
    EXPECT_EQ(card("tiny").findChild<QPushButton*>("downloadButton")->height(), 30);
    EXPECT_EQ(page->findChild<QPushButton*>("openFolderButton")->height(), 26);
    EXPECT_EQ(page->findChild<QFrame*>("modelsSeparator")->height(), 1);

    auto* const button = card("base").findChild<QPushButton*>("deleteButton");
    QHelpEvent hover(QEvent::ToolTip, {1, 1}, button->mapToGlobal(QPoint(1, 1)));
    QApplication::sendEvent(button, &hover);
    QWidget* tip = nullptr;
    for (QWidget* window : QApplication::topLevelWidgets())
        if (window->isVisible() && window->inherits("QTipLabel"))
            tip = window;
    ASSERT_TRUE(tip);
    EXPECT_EQ(tip->grab().toImage().pixelColor(8, 8), QColor("#112233"));
    QToolTip::hideText();
    qApp->setStyleSheet({});
}

TEST_F(ModelsTabTest, NeedsNoManager)
{
    FileBrowser browser;
    install("base", 1);
    ModelsTab empty;
    empty.populateModels(nullptr);
    empty.show();
    QTest::mouseClick(empty.findChild<QPushButton*>("openFolderButton"), Qt::LeftButton);
    EXPECT_TRUE(browser.opened.isEmpty());
    EXPECT_EQ(text(empty, "modelsPathLabel") + text(empty, "diskUsageLabel"), "");

    open();
    page->populateModels(nullptr);
    click("tiny", "downloadButton");
    click("base", "setActiveButton");
    EXPECT_EQ(state("tiny"), "Not Downloaded");
    EXPECT_EQ(state("base"), "Downloaded");
}

/// Everything a card's badge has said, and how many events the page got.
class Log : public QObject {
public:
    Log(ModelsTab& page, ModelCardWidget& card)
        : badge_(card.findChild<QLabel*>("statusBadge"))
    {
        page.installEventFilter(this);
        badge_->installEventFilter(this);
    }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (watched == badge_ && event->type() == QEvent::StyleChange)
            states.push_back(badge_->text().trimmed().toStdString());
        posts += watched != badge_ && event->type() == QEvent::MetaCall;
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

TEST_F(ModelDownloadTest, StormOfReportsCostsAHundredEvents)
{
    services->answer("/tiny", R"({"size": 8388608, "chunk": 1024})");
    open();
    Log log(*page, card("tiny"));
    auto* const button = card("tiny").findChild<QPushButton*>("downloadButton");
    button->setFocus();
    QTest::keyClick(button, Qt::Key_Space);
    EXPECT_EQ(state("tiny"), "Downloading...");
    EXPECT_EQ(text(card("tiny"), "progressLabel"), "0%");
    EXPECT_FALSE(button->isVisible());
    waitForState("tiny", "Downloaded");
    EXPECT_THAT(log.states, ElementsAre("Downloading...", "Downloaded"));
    EXPECT_GT(log.posts, 1);
    EXPECT_LE(log.posts, 101);
    EXPECT_EQ(card("tiny").findChild<QProgressBar*>("progressBar")->value(), 100);
    EXPECT_TRUE(text(*page, "diskUsageLabel").startsWith("8 MB used / "));
    click("tiny", "setActiveButton");
    EXPECT_EQ(state("tiny"), "Active");
}

// The page of an error arrives completely as well.
TEST_F(ModelDownloadTest, FailureShowsAnErrorOnlyAndCanBeRetried)
{
    services->answer("/base", R"([{"status": 404, "size": 200}, {"size": 3000}])");
    open();
    Log log(*page, card("base"));
    click("base", "downloadButton");
    waitForState("base", "Error");
    EXPECT_FALSE(card("base").findChild<QWidget*>("progressRow")->isVisible());
    EXPECT_FALSE(exists(modelFile("base")));
    click("base", "downloadButton");
    waitForState("base", "Downloaded");
    EXPECT_THAT(log.states, ElementsAre("Downloading...", "Error", "Downloading...", "Downloaded"));
}

TEST_F(ModelDownloadTest, CardReturnsToItsDownload)
{
    services->answer("/small", R"({"size": 1000000, "how": "stall-midway"})");
    install("base", 1);
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
    for (const std::string id : {"tiny", "base", "small"})
        services->answer("/" + id, R"({"size": 4194304, "chunk": 1024, "delay": 0.0001})");
    open();
    for (const char* id : {"tiny", "base", "small"})
        click(id, "downloadButton");
    ASSERT_TRUE(QTest::qWaitFor([this] { return text(card("small"), "progressLabel") != "0%"; }, patience));
    page.reset();
    for (const char* id : {"tiny", "base", "small"})
        EXPECT_TRUE(QTest::qWaitFor([id] { return exists(modelFile(id)); }, patience)) << id;
}

} // namespace
} // namespace quillo

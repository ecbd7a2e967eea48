#include "pictures.h"

#include "audio/audio_capture.h"
#include "model/model_manager.h"
#include "settings/paths.h"
#include "ui/settings/model_card_widget.h"
#include "ui/settings/settings_dialog.h"

#include "stand_ins/fake_platform.h"
#include "stand_ins/fake_portaudio.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QVBoxLayout>

#include <optional>
#include <vector>

namespace quillo::pictures {
namespace {

using model::ModelStatus;

enum Page { Models, Mic, Hotkey, Cloud, History, Style };

QPixmap sheet(const std::vector<QPixmap>& pictures, int columns)
{
    QSize cell;
    for (const QPixmap& picture : pictures)
        cell = cell.expandedTo((picture.size() / picture.devicePixelRatio()).grownBy({0, 0, margin, margin}));
    const int count = static_cast<int>(pictures.size());
    const int rows = (count + columns - 1) / columns;
    QPixmap result = blank({columns * cell.width() + margin, rows * cell.height() + margin});
    result.fill(Qt::white);
    QPainter painter(&result);
    for (int i = 0; i < count; ++i)
        painter.drawPixmap(
            margin + i % columns * cell.width(), margin + i / columns * cell.height(), pictures[std::size_t(i)]);
    return result;
}

// A file of the real size, of which nothing is written.
void installModel(const std::string& id)
{
    const model::ModelInfo& info = *model::findModel(id);
    QDir().mkpath(QString::fromStdString(modelsDir()));
    QFile file(QString::fromStdString(modelsDir() + "/" + info.fileName));
    if (file.open(QIODevice::WriteOnly))
        file.resize(static_cast<qint64>(info.sizeBytes));
}

const std::vector<HistoryEntry> someHistory{
    {"Nov 18, 10:02", "A short one."},
    {"Nov 18, 10:00",
        "We met on Tuesday and agreed that the second part of the plan needs more time than the first, so that the "
        "delivery moves to the end of March."},
    {"Nov 17, 16:41", "Two lines\nof one dictation."},
    {"Nov 17, 09:05",
        "https://example.org/an/address/without/any/place/to/break/it/that/is/longer/than/the/list/is/wide"},
    {"Nov 16, 23:59", "Grüße aus dem Büro, 日本語, и так далее."},
    {"Nov 16, 08:00", ""},
};

/// The settings window with what it needs around it.
class Scene {
public:
    Scene()
    {
        test::FakePlatform::instance().setDataRoot(folder_.path().toStdString());
        test::FakePortAudio::instance().setDevices(
            {{.name = "Built-in Audio Analog Stereo"},
                {.name = "Microphone (A very long name of a USB headset with noise cancellation, 2nd port)"}},
            0);
        installModel("tiny");
        installModel("base");
        models_.setActiveModel("base");
        const auto acceptOpenai = [](const std::string& provider, const std::string&, const auto& done) {
            done(provider == "openai");
        };
        dialog_.emplace(SettingsServices{&models_, &capture_, {}, acceptOpenai}, [] {});
        SettingsData settings;
        settings.hotkey = "Ctrl+Shift+Space";
        dialog_->setSettings(settings);
        dialog_->setHistory(someHistory);
        dialog_->show();
    }

    QPixmap page(Page page)
    {
        turnTo(page);
        QTest::qWait(150); // lists are laid out a little later
        return dialog_->grab();
    }

    QPixmap pages(const QSize& size)
    {
        dialog_->resize(size);
        std::vector<QPixmap> pictures;
        for (const Page each : {Models, Mic, Hotkey, Cloud, History, Style})
            pictures.push_back(page(each));
        return sheet(pictures, 3);
    }

    QPixmap microphoneStates()
    {
        turnTo(Mic);
        find<QComboBox>("deviceCombo").setCurrentIndex(2);
        auto& button = find<QPushButton>("micTestButton");
        button.click();
        const std::vector<float> voice(512, 0.15F);
        test::FakePortAudio::instance().push(voice);
        std::vector pictures{page(Mic)};
        button.click();
        test::FakePortAudio::instance().fail(test::PaCall::OpenStream);
        button.click();
        pictures.push_back(page(Mic));
        return sheet(pictures, 2);
    }

    QPixmap hotkeyStates()
    {
        turnTo(Hotkey);
        auto& field = find<QLineEdit>("hotkeyEdit");
        QTest::mouseClick(&field, Qt::LeftButton);
        std::vector pictures{page(Hotkey)};
        QTest::keyClick(&field, Qt::Key_Escape);
        SettingsData settings;
        settings.hotkey = "Win+L";
        settings.toggleMode = true;
        dialog_->setSettings(settings);
        pictures.push_back(page(Hotkey));
        test::FakePlatform::instance().setProbeResult(platform::ProbeResult::HeldByAnother);
        settings.hotkey = "Ctrl+Alt+F12";
        dialog_->setSettings(settings);
        pictures.push_back(page(Hotkey));
        return sheet(pictures, 3);
    }

    QPixmap cloudStates()
    {
        turnTo(Cloud);
        for (const char* id : {"openai", "mistral"}) {
            find<QCheckBox>(QString(id) + "EnableBox").setChecked(true);
            find<QLineEdit>(QString(id) + "KeyEdit").setText("sk-a-key-of-the-usual-length-that-is-0123456789");
            find<QPushButton>(QString(id) + "TestButton").click();
        }
        find<QPushButton>("openaiShowButton").click();
        return page(Cloud);
    }

    QPixmap historyStates()
    {
        find<QListWidget>("historyList").setCurrentRow(1);
        std::vector pictures{page(History)};
        dialog_->setHistory(std::vector<HistoryEntry>(500, someHistory[1]));
        pictures.push_back(page(History));
        dialog_->setHistory({});
        pictures.push_back(page(History));
        return sheet(pictures, 3);
    }

    QPixmap deleteQuestion()
    {
        turnTo(Models);
        find<QPushButton>("deleteButton").click();
        auto& question = find<QMessageBox>("deleteQuestion");
        QPixmap picture = question.grab();
        question.reject();
        return picture;
    }

private:
    template<typename Widget> Widget& find(const QString& name) { return *dialog_->findChild<Widget*>(name); }

    void turnTo(Page page) { find<QTabWidget>("settingsTabs").setCurrentIndex(page); }

    const QTemporaryDir folder_;
    model::ModelManager models_;
    AudioCapture capture_;
    std::optional<SettingsDialog> dialog_;
};

QPixmap cardStates()
{
    QWidget page;
    auto* const layout = new QVBoxLayout(&page);
    layout->setSpacing(6);
    for (const ModelStatus status : {ModelStatus::NotDownloaded, ModelStatus::Downloading, ModelStatus::Downloaded,
             ModelStatus::Active, ModelStatus::Error}) {
        const model::ModelInfo& model = model::modelCatalogue().back();
        auto* const card = new ui::ModelCardWidget(
            {model.id, model.name, model.description, model.sizeBytes, status, status == ModelStatus::Active, 42});
        card->setProgress(42);
        layout->addWidget(card);
    }
    page.setFixedWidth(520);
    return page.grab();
}

} // namespace

void addSettings(Album& album)
{
    album.add("model-cards", cardStates());
    Scene scene;
    album.add("settings", scene.pages({580, 640}));
    album.add("settings-smallest", scene.pages({540, 580}));
    album.add("settings-delete", scene.deleteQuestion());
    album.add("settings-microphone", scene.microphoneStates());
    album.add("settings-hotkey", scene.hotkeyStates());
    album.add("settings-cloud", scene.cloudStates());
    album.add("settings-history", scene.historyStates());
}

} // namespace quillo::pictures

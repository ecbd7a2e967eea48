#include "ui/settings/microphone_tab.h"

#include "audio/audio_capture.h"

#include "support/fake_portaudio.h"

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>
#include <QTimer>

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

namespace quillo {
namespace {

using test::FakePortAudio;
using test::PaCall;
using testing::ElementsAre;

constexpr int patience = 20'000; // ms

class MicrophoneTabTest : public testing::Test {
protected:
    MicrophoneTabTest()
    {
        card.reset();
        card.setDevices({{.name = "Mikrofon ü"}, {.name = "Speaker", .inputChannels = 0}, {.name = "Headset"}}, 0);
        capture.emplace();
        tab = new MicrophoneTab;
        window.addTab(tab, " Mic ");
        window.addTab(new QWidget, "another");
        tab->setAudioCapture(&*capture);
        tab->refreshDevices();
        window.show();
    }

    template<typename Widget> Widget* find(const char* name) const { return tab->findChild<Widget*>(name); }
    void click(const char* name) const { QTest::mouseClick(find<QPushButton>(name), Qt::LeftButton); }

    QComboBox* devices() const { return find<QComboBox>("deviceCombo"); }
    int meter() const { return find<QProgressBar>("levelMeter")->value(); }

    /// Lets the levels arrive, but no timer run.
    void receiveLevels() const { QCoreApplication::sendPostedEvents(tab, QEvent::MetaCall); }
    void play(float amplitude) { card.push(std::vector<float>(512, amplitude)); }

    void expectStopped(const QString& status = "Click to test your microphone", const char* color = "#7a7a90") const
    {
        EXPECT_EQ(card.openStreams(), 0U);
        EXPECT_FALSE(find<QPushButton>("micTestButton")->isChecked());
        EXPECT_EQ(find<QPushButton>("micTestButton")->text(), "Test Microphone");
        expectStatus(status, color);
        EXPECT_EQ(meter(), 0);
        EXPECT_FALSE(find<QTimer>("meterDecayTimer")->isActive());
    }
    void expectRunning() const
    {
        EXPECT_EQ(card.runningStreams(), 1U);
        EXPECT_TRUE(find<QPushButton>("micTestButton")->isChecked());
        EXPECT_EQ(find<QPushButton>("micTestButton")->text(), "Stop Test");
        expectStatus("Speak into your microphone...", "#4ade80");
    }
    void expectStatus(const QString& text, const char* color) const
    {
        const auto* label = find<QLabel>("micStatusLabel");
        EXPECT_EQ(label->text(), text);
        EXPECT_EQ(label->palette().color(QPalette::WindowText), QColor(color));
    }

    FakePortAudio& card = FakePortAudio::instance();
    std::optional<AudioCapture> capture; // starts when the sound card is there
    QTabWidget window;
    MicrophoneTab* tab; // belongs to the window
};

TEST_F(MicrophoneTabTest, ListsTheDevicesAfresh)
{
    const auto listed = [this] {
        QStringList items;
        for (int i = 0; i < devices()->count(); ++i)
            items << devices()->itemText(i) + '=' + devices()->itemData(i).toString();
        return items;
    };
    EXPECT_EQ(listed(), QStringList({"System Default=", "Mikrofon ü=0", "Headset=2"}));
    devices()->setCurrentIndex(2);
    click("refreshButton");
    EXPECT_EQ(devices()->count(), 3);
    EXPECT_EQ(devices()->currentText(), "System Default");

    tab->setAudioCapture(nullptr);
    click("refreshButton");
    EXPECT_EQ(listed(), QStringList("System Default="));
}

TEST_F(MicrophoneTabTest, TestShowsTheLevelAndLetsItDecay)
{
    std::vector<int> shown;
    QObject::connect(
        find<QProgressBar>("levelMeter"), &QProgressBar::valueChanged, tab, [&](int value) { shown.push_back(value); });
    expectStopped();
    devices()->setCurrentIndex(2);
    click("micTestButton");
    expectRunning();
    EXPECT_EQ(card.lastOpenRequest().input.device, 2);
    for (const float amplitude : {0.1F, 1.0F, 0.01F})
        play(amplitude);
    EXPECT_EQ(meter(), 0);
    receiveLevels();
    EXPECT_THAT(shown, ElementsAre(50, 100, 4));
    EXPECT_TRUE(QTest::qWaitFor([&] { return meter() == 0; }, patience));
    EXPECT_THAT(shown, ElementsAre(50, 100, 4, 2, 0));

    play(0.1F);
    receiveLevels();
    click("micTestButton");
    expectStopped();
}

TEST_F(MicrophoneTabTest, LevelsOfAnEarlierTestAreDropped)
{
    for (const bool restart : {false, true}) {
        click("micTestButton");
        play(0.1F);
        click("micTestButton");
        if (restart)
            click("micTestButton");
        receiveLevels();
        EXPECT_EQ(meter(), 0);
    }
}

TEST_F(MicrophoneTabTest, TestFollowsTheChosenDevice)
{
    click("micTestButton");
    QTest::keyClick(devices(), Qt::Key_End);
    EXPECT_EQ(card.lastOpenRequest().input.device, 2);
    expectRunning();
    play(0.1F);
    receiveLevels();
    EXPECT_EQ(meter(), 50);

    SettingsData settings; // the window is filled anew
    settings.inputDeviceId = "2";
    tab->setSettings(settings);
    EXPECT_EQ(card.count(PaCall::OpenStream), 2) << "it was on that device already";
    click("refreshButton"); // chooses the default
    EXPECT_EQ(card.lastOpenRequest().input.device, 0);
    expectRunning();

    card.fail(PaCall::OpenStream);
    QTest::keyClick(devices(), Qt::Key_End);
    expectStopped("Failed to open audio device", "#f87171");
    QTest::keyClick(devices(), Qt::Key_Home);
    EXPECT_EQ(card.count(PaCall::OpenStream), 4) << "nothing is tested any more";
}

struct FailureCase {
    const char* name;
    void (*arrange)(MicrophoneTab&, FakePortAudio&);
    const char* status = "Failed to open audio device";

    friend void PrintTo(const FailureCase& that, std::ostream* out) { *out << that.name; }
};

class FailingTest : public MicrophoneTabTest, public testing::WithParamInterface<FailureCase> { };

TEST_P(FailingTest, SaysSoAndLeavesTheButtonUnchecked)
{
    devices()->setCurrentIndex(2);
    GetParam().arrange(*tab, card);
    click("micTestButton");
    expectStopped(GetParam().status, "#f87171");

    card.reset();
    tab->setAudioCapture(&*capture);
    tab->refreshDevices();
    click("micTestButton");
    expectRunning();
}

INSTANTIATE_TEST_SUITE_P(Causes, FailingTest,
    testing::Values(FailureCase{"no capture", [](MicrophoneTab& tab, FakePortAudio&) { tab.setAudioCapture(nullptr); },
                        "No audio backend available"},
        FailureCase{"device gone", [](MicrophoneTab&, FakePortAudio& card) { card.setDevices({{}}, 0); }},
        FailureCase{"open fails", [](MicrophoneTab&, FakePortAudio& card) { card.fail(PaCall::OpenStream); }},
        FailureCase{"start fails", [](MicrophoneTab&, FakePortAudio& card) { card.fail(PaCall::StartStream); }}));

TEST_F(MicrophoneTabTest, TestEndsWhenThePageIsNoLongerSeen)
{
    const std::pair<const char*, std::function<void()>> ways[] = {
        {"window closed", [this] { window.close(); }},
        {"minimised", [this] { window.showMinimized(); }},
        {"another page", [this] { window.setCurrentIndex(1); }},
    };
    for (const auto& [name, hide] : ways) {
        SCOPED_TRACE(name);
        window.setCurrentIndex(0);
        window.showNormal();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window, patience));
        click("micTestButton");
        expectRunning();
        play(0.1F);
        hide();
        EXPECT_TRUE(QTest::qWaitFor([this] { return card.openStreams() == 0; }, patience));
        receiveLevels();
        expectStopped();
    }
}

TEST_F(MicrophoneTabTest, CanBeDestroyedWhileLevelsArrive)
{
    std::atomic<bool> speaking = true;
    std::thread speaker([&] {
        while (speaking) {
            play(0.1F);
            std::this_thread::sleep_for(std::chrono::milliseconds(1)); // a sound card has its pace
        }
    });
    for (int i = 0; i < 50; ++i) {
        const auto page = std::make_unique<MicrophoneTab>();
        page->setAudioCapture(&*capture);
        auto* const shown = page->findChild<QProgressBar*>("levelMeter");
        page->findChild<QPushButton*>("micTestButton")->click();
        EXPECT_TRUE(QTest::qWaitFor([&] { return shown->value() > 0; }, patience));
    }
    EXPECT_EQ(card.openStreams(), 0U);
    QApplication::processEvents(); // nothing may be left that wants to reach a page
    speaking = false;
    speaker.join();
}

} // namespace
} // namespace quillo

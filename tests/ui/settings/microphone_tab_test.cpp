#include "ui/settings/microphone_tab.h"

#include "audio/audio_capture.h"

#include "stand_ins/fake_platform.h"
#include "stand_ins/fake_portaudio.h"

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

constexpr int patience = 20'000; // ms

class MicrophoneTabTest : public testing::Test {
protected:
    MicrophoneTabTest()
    {
        card.reset();
        card.setDevices({{.name = "Mikrofon ü"}, {.name = "Speaker", .inputChannels = 0}, {.name = "Headset"}}, 0);
        capture.emplace();
        tab = new MicrophoneTab(&*capture);
        window.addTab(tab, " Mic ");
        window.addTab(new QWidget, "another");
        window.show();
    }

    template<typename Widget> Widget* find(const char* name) const { return tab->findChild<Widget*>(name); }
    void click(const char* name) const { QTest::mouseClick(find<QPushButton>(name), Qt::LeftButton); }

    QComboBox* devices() const { return find<QComboBox>("deviceCombo"); }
    QStringList listed() const
    {
        QStringList items;
        for (int i = 0; i < devices()->count(); ++i)
            items << devices()->itemText(i) + '=' + devices()->itemData(i).toString();
        return items;
    }
    int meter() const { return find<QProgressBar>("levelMeter")->value(); }

    void tick(const char* timer = "levelTimer") const { QMetaObject::invokeMethod(find<QTimer>(timer), "timeout"); }
    void play(float amplitude) { card.push(std::vector<float>(512, amplitude)); }

    void expectStopped(const QString& status = "Click to test your microphone", const char* color = "#7a7a90") const
    {
        EXPECT_TRUE(QTest::qWaitFor([this] { return card.openStreams() == 0; }, patience));
        EXPECT_FALSE(find<QPushButton>("micTestButton")->isChecked());
        EXPECT_EQ(find<QPushButton>("micTestButton")->text(), "Test Microphone");
        expectStatus(status, color);
        EXPECT_EQ(meter(), 0);
        EXPECT_FALSE(find<QTimer>("meterDecayTimer")->isActive() || find<QTimer>("levelTimer")->isActive());
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
    EXPECT_EQ(listed(), QStringList({"System Default=", "Mikrofon ü=0", "Headset=2"}));
    SettingsData settings;
    settings.inputDeviceId = "2";
    capture->setDeviceId(settings.inputDeviceId);
    ASSERT_TRUE(capture->startCapture(nullptr, nullptr).get());
    card.setDevices({{.name = "Headset"}, {.name = "Camera"}, {.name = "Telephone"}}, 0);
    click("refreshButton");
    EXPECT_EQ(devices()->count(), 3);
    EXPECT_TRUE(find<QPushButton>("refreshButton")->toolTip().contains("in use"));

    capture->stopCapture();
    tab->setSettings(settings);
    click("refreshButton");
    EXPECT_EQ(find<QPushButton>("refreshButton")->toolTip(), "");
    EXPECT_EQ(listed(), QStringList({"System Default=", "Headset=0", "Camera=1", "Telephone=2"}));
    EXPECT_EQ(devices()->currentText(), "System Default");
    tab->setSettings(settings);
    EXPECT_EQ(devices()->currentText(), "Headset") << "it has another number now";
}

TEST_F(MicrophoneTabTest, WithoutAudioThereIsOnlyTheDefaultWhichCannotBeTested)
{
    tab = new MicrophoneTab(nullptr);
    window.setCurrentIndex(window.addTab(tab, "without audio"));
    click("refreshButton");
    EXPECT_EQ(listed(), QStringList("System Default="));
    click("micTestButton");
    expectStopped("No audio backend available", "#f87171");
}

TEST_F(MicrophoneTabTest, TestShowsTheLevelAndLetsItDecay)
{
    expectStopped();
    devices()->setCurrentIndex(2);
    click("micTestButton");
    expectRunning();
    EXPECT_EQ(card.lastOpenRequest().input.device, 2);
    for (const float amplitude : {0.1F, 1.0F, 0.01F})
        play(amplitude);
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(meter(), 0) << "a device may deliver more than the window can show";
    tick();
    for (const int shown : {4, 2, 0, 0}) {
        EXPECT_EQ(meter(), shown);
        tick("meterDecayTimer");
        tick();
    }
    play(0.1F);
    click("micTestButton");
    expectStopped();
    click("micTestButton");
    tick();
    EXPECT_EQ(meter(), 0) << "a level of an earlier test";
    play(0.1F);
    EXPECT_TRUE(QTest::qWaitFor([&] { return meter() > 0; }, patience));
}

TEST_F(MicrophoneTabTest, TestFollowsTheChosenDevice)
{
    click("micTestButton");
    QTest::keyClick(devices(), Qt::Key_End);
    EXPECT_EQ(card.lastOpenRequest().input.device, 2);
    expectRunning();
    play(0.1F);
    tick();
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
    EXPECT_EQ(card.count(PaCall::OpenStream), 5) << "nothing is tested any more";
}

TEST_F(MicrophoneTabTest, AFailingTestSaysSoAndLeavesTheButtonUnchecked)
{
    const std::function<void()> causes[] = {
        [this] { card.fail(PaCall::OpenStream); },
        [this] {
            card.setDevices({{}}, 0); // the headset is gone
            test::FakePlatform::instance().setSoundDevices("changed");
        },
    };
    for (const auto& arrange : causes) {
        devices()->setCurrentIndex(2);
        arrange();
        click("micTestButton");
        expectStopped("Failed to open audio device", "#f87171");

        card.fail(PaCall::OpenStream, paNoError);
        devices()->setCurrentIndex(0);
        click("micTestButton");
        expectRunning();
        click("micTestButton");
    }
}

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
        const auto page = std::make_unique<MicrophoneTab>(&*capture);
        auto* const shown = page->findChild<QProgressBar*>("levelMeter");
        page->findChild<QPushButton*>("micTestButton")->click();
        EXPECT_TRUE(QTest::qWaitFor([&] { return shown->value() > 0; }, patience));
    }
    speaking = false;
    speaker.join();
}

} // namespace
} // namespace quillo

#include "ui/settings/microphone_tab.h"

#include "audio/audio_capture.h"

#include "stand_ins/fake_platform.h"
#include "stand_ins/fake_portaudio.h"
#include "support/widgets.h"

#include <functional>
#include <utility>
#include <vector>

namespace quillo {
namespace {

using test::PaCall;

test::FakePortAudio& makeCard()
{
    test::FakePlatform::instance().reset();
    auto& card = test::FakePortAudio::instance();
    card.reset();
    card.setDevices({{.name = "Mikrofon ü"}, {.name = "Speaker", .inputChannels = 0}, {.name = "Headset"}}, 0);
    return card;
}

class MicrophoneTabTest : public testing::Test {
protected:
    MicrophoneTabTest()
    {
        window.addTab(tab, " Mic ");
        window.addTab(new QWidget, "another");
        window.show();
    }

    template<typename Widget = QPushButton> Widget& find(const char* name) const
    {
        return test::find<Widget>(*tab, name);
    }
    void click(const char* button) const { test::click(*tab, button); }
    QComboBox& devices() const { return find<QComboBox>("deviceCombo"); }
    int meter() const { return find<QProgressBar>("levelMeter").value(); }

    void tick(const char* timer = "levelTimer") const { QMetaObject::invokeMethod(&find<QTimer>(timer), "timeout"); }
    void play(float amplitude) { card.push(std::vector<float>(512, amplitude)); }

    void expect(bool running, const char* button, const QString& status, const char* color) const
    {
        EXPECT_TRUE(test::waitFor([&] { return card.openStreams() == running; }));
        EXPECT_EQ(card.runningStreams(), running);
        EXPECT_EQ(find("micTestButton").isChecked(), running);
        EXPECT_EQ(find("micTestButton").text(), button);
        const auto& label = find<QLabel>("micStatusLabel");
        EXPECT_EQ(label.text(), status);
        EXPECT_EQ(label.palette().color(QPalette::WindowText), QColor(color));
        for (const char* timer : {"meterDecayTimer", "levelTimer"})
            EXPECT_EQ(find<QTimer>(timer).isActive(), running);
        EXPECT_TRUE(running || meter() == 0);
    }
    void expectRunning() const { expect(true, "Stop Test", "Speak into your microphone...", "#4ade80"); }
    void expectStopped() const { expect(false, "Test Microphone", "Click to test your microphone", "#7a7a90"); }
    void expectFailed(const char* reason = "Failed to open audio device") const
    {
        expect(false, "Test Microphone", reason, "#f87171");
    }

    test::FakePortAudio& card = makeCard();
    AudioCapture capture; // starts when the sound card is there
    QTabWidget window;
    MicrophoneTab* tab = new MicrophoneTab(&capture); // belongs to the window
};

TEST_F(MicrophoneTabTest, ListsTheDevicesAfresh)
{
    EXPECT_EQ(test::choices(devices()), QStringList({"System Default=", "Mikrofon ü=0", "Headset=2"}));
    SettingsData settings;
    settings.inputDeviceId = "2";
    capture.setDeviceId(settings.inputDeviceId);
    ASSERT_TRUE(capture.startCapture(nullptr, nullptr).get());
    card.setDevices({{.name = "Headset"}, {.name = "Camera"}, {.name = "Telephone"}}, 0);
    click("refreshButton");
    EXPECT_EQ(devices().count(), 3);
    EXPECT_TRUE(find("refreshButton").toolTip().contains("in use"));

    capture.stopCapture();
    tab->setSettings(settings);
    click("refreshButton");
    EXPECT_EQ(find("refreshButton").toolTip(), "");
    EXPECT_EQ(test::choices(devices()), QStringList({"System Default=", "Headset=0", "Camera=1", "Telephone=2"}));
    EXPECT_EQ(devices().currentText(), "System Default");
    tab->setSettings(settings);
    EXPECT_EQ(devices().currentText(), "Headset") << "it has another number now";
}

TEST_F(MicrophoneTabTest, WithoutAudioThereIsOnlyTheDefaultWhichCannotBeTested)
{
    tab = new MicrophoneTab(nullptr);
    window.setCurrentIndex(window.addTab(tab, "without audio"));
    click("refreshButton");
    EXPECT_EQ(test::choices(devices()), QStringList("System Default="));
    click("micTestButton");
    expectFailed("No audio backend available");
}

TEST_F(MicrophoneTabTest, TestShowsTheLevelAndLetsItDecay)
{
    expectStopped();
    devices().setCurrentIndex(2);
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
    EXPECT_TRUE(test::waitFor([&] { return meter() > 0; }));
}

TEST_F(MicrophoneTabTest, TestFollowsTheChosenDevice)
{
    click("micTestButton");
    QTest::keyClick(&devices(), Qt::Key_End);
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
    QTest::keyClick(&devices(), Qt::Key_End);
    expectFailed();
    QTest::keyClick(&devices(), Qt::Key_Home);
    EXPECT_EQ(card.count(PaCall::OpenStream), 5) << "nothing is tested any more";
    card.fail(PaCall::OpenStream, paNoError);

    devices().setCurrentIndex(2);
    card.setDevices({{}}, 0); // the headset is gone
    test::FakePlatform::instance().setSoundDevices("changed");
    click("micTestButton");
    expectFailed();
    devices().setCurrentIndex(0);
    click("micTestButton");
    expectRunning();
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
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
        click("micTestButton");
        expectRunning();
        play(0.1F);
        hide();
        expectStopped();
    }
    window.setCurrentIndex(0);
    click("micTestButton");
    delete tab;
    EXPECT_TRUE(test::waitFor([this] { return card.openStreams() == 0; }));
}

} // namespace
} // namespace quillo

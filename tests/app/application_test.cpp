#include "app/application.h"

#include "history/history_store.h"
#include "model/model_manager.h"
#include "net/curl_runtime.h"
#include "settings/settings_store.h"
#include "stand_ins/fake_platform.h"
#include "stand_ins/fake_portaudio.h"
#include "support/private_profile.h"
#include "support/speech.h"
#include "support/stand_in_services.h"
#include "support/top_level.h"
#include "ui/overlay/overlay_widget.h"

#include <QAction>
#include <QApplication>
#include <QDialogButtonBox>
#include <QMenu>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>
#include <QTimer>

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> largestRequest = 0; // of memory, in bytes

} // namespace

void* operator new(std::size_t size)
{
    largestRequest = std::max(largestRequest.load(), size);
    if (void* const memory = std::malloc(size))
        return memory;
    throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return std::malloc(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

namespace quillo {
namespace {

namespace vk = platform::vk;
using testing::ElementsAre;

constexpr int patience = 20'000; // ms
const test::PrivateProfile profile;

template<typename Widget> Widget* find(const char* objectName)
{
    for (QWidget* window : QApplication::topLevelWidgets())
        if (auto* const widget = window->findChild<Widget*>(objectName))
            return widget;
    return nullptr;
}

void choose(const QString& entry)
{
    for (const QMenu* menu : test::topLevel<QMenu>())
        for (QAction* action : menu->actions())
            if (action->text() == entry)
                action->trigger();
}

void apply(const SettingsData& settings)
{
    SettingsStore::save(settings); // which the window then shows
    choose("Settings...");
    find<QDialogButtonBox>("settingsButtons")->button(QDialogButtonBox::Apply)->click();
}

/// The real parts, put together as in the program; only sound card, system and services are stand-ins.
class ApplicationTest : public testing::Test {
protected:
    ApplicationTest()
    {
        profile.empty();
        card.reset();
        card.setDevices({{.name = "Built in"}, {.name = "Headset"}}, 0);
        system.reset();
        system.setDataRoot(profile.dataRoot().string());
        const auto models = profile.dataRoot() / "Quillo" / "models";
        std::filesystem::create_directories(models);
        std::filesystem::copy_file(QUILLO_TEST_DATA_DIR "/ggml-mini.bin", models / "ggml-tiny.bin");
        QApplication::setQuitOnLastWindowClosed(true);
    }

    /// Runs the program with these settings until its user has done something and then chosen "Quit".
    template<typename User> void run(const SettingsData& settings, User user)
    {
        SettingsStore::save(settings);
        Application application(0, nullptr);
        QObject thisRun;
        QTimer::singleShot(0, &thisRun, [&] {
            user();
            EXPECT_FALSE(QApplication::quitOnLastWindowClosed());
            QTimer::singleShot(patience, &thisRun, [] { QCoreApplication::exit(1); });
            choose("Quit");
        });
        EXPECT_EQ(application.run(), 0);
    }

    bool opensMicrophone()
    {
        return QTest::qWaitFor([&] { return card.runningStreams() == 1; }, patience);
    }

    bool pastes(std::size_t count)
    {
        return QTest::qWaitFor([&] { return system.pastes().size() == count; }, patience);
    }

    test::FakePortAudio& card = test::FakePortAudio::instance();
    test::FakePlatform& system = test::FakePlatform::instance();
    const std::vector<float> speech = test::speak("hello world");
};

TEST_F(ApplicationTest, SettingsReachTheirPartsAtTheStartAndWhenApplied)
{
    SettingsData settings;
    settings.hotkey = "Alt+F9";
    settings.toggleMode = true;
    settings.maxRecordingMinutes = 2;
    settings.inputDeviceId = "1";
    settings.overlayOpacity = 0.6F;
    const auto tapHotkey = [&] {
        system.press({vk::leftMenu, vk::f1 + 8});
        system.release({vk::f1 + 8, vk::leftMenu});
    };
    const auto dictate = [&] {
        largestRequest = 0;
        tapHotkey();
        ASSERT_TRUE(opensMicrophone());
        EXPECT_NEAR(static_cast<double>(largestRequest) / sizeof(float) / 16000, 2 * 60, 5) << "room for all of it";
        EXPECT_EQ(card.lastOpenRequest().input.device, 1);
        const auto* const overlay = test::topLevel<ui::OverlayWidget>().value(0);
        EXPECT_TRUE(
            overlay && QTest::qWaitFor([&] { return std::abs(overlay->windowOpacity() - 0.6) < 0.01; }, patience));
        card.push(speech);
        tapHotkey();
        EXPECT_TRUE(pastes(1));
    };
    run({}, [&] {
        choose("Settings...");
        find<QPushButton>("setActiveButton")->click();
        apply(settings);
        system.press({vk::leftControl, vk::leftShift});
        EXPECT_FALSE(system.press(vk::space)) << "the old hotkey is a key like any other";
        system.release({vk::space, vk::leftShift, vk::leftControl});
        dictate();
    });
    EXPECT_THAT(system.pastes(), ElementsAre("hello world"));
    ASSERT_EQ(HistoryStore::load().size(), 1U);
    EXPECT_EQ(HistoryStore::load().front().text, "hello world");

    system.reset();
    system.setDataRoot(profile.dataRoot().string());
    run(settings, dictate);
    EXPECT_THAT(system.pastes(), ElementsAre("hello world"));
}

TEST_F(ApplicationTest, AsksServicesThatHaveTheirOwnKeyAndSwitch)
{
    const test::StandInServices proxy; // which learns whom the program wants to speak with, and lets it not
    qunsetenv("no_proxy");
    qputenv("https_proxy", QByteArray::fromStdString(proxy.url("")));
    const auto asked = [&] {
        std::vector<std::string> hosts;
        for (const auto& request : proxy.requests())
            hosts.push_back(request.path.substr(0, request.path.find(':')));
        return hosts;
    };
    std::size_t dictations = 0;
    const auto dictate = [&] {
        system.press({vk::leftControl, vk::leftShift, vk::space});
        ASSERT_TRUE(opensMicrophone());
        card.push(speech);
        system.release({vk::space, vk::leftShift, vk::leftControl});
        EXPECT_TRUE(pastes(++dictations)) << "in the end this machine recognises it";
    };
    SettingsData settings;
    settings.openaiKey = "key";
    settings.openaiEnabled = settings.mistralEnabled = true;
    model::ModelManager().setActiveModel("tiny");
    run(settings, [&] {
        dictate(); // locally
        settings.transcriptionSource = "mistral";
        apply(settings);
        dictate();
        std::swap(settings.openaiKey, settings.mistralKey);
        apply(settings);
        dictate();
        settings.openaiKey = "key";
        settings.mistralEnabled = false;
        apply(settings);
        dictate();
        std::swap(settings.openaiEnabled, settings.mistralEnabled);
        apply(settings);
        dictate();
        find<QPushButton>("mistralTestButton")->click();
        EXPECT_TRUE(QTest::qWaitFor([&] { return asked().size() == 5; }, patience));
        EXPECT_TRUE(QTest::qWaitFor([] { return find<QPushButton>("mistralTestButton")->text() == "Fail"; }, patience));
    });
    constexpr auto openai = "api.openai.com";
    constexpr auto mistral = "api.mistral.ai";
    EXPECT_THAT(asked(), ElementsAre(openai, mistral, openai, mistral, mistral));
    EXPECT_TRUE(QTest::qWaitFor([] { return !CurlRuntime::inUse(); }, patience));
    qunsetenv("https_proxy");
}

TEST_F(ApplicationTest, QuitDeliversTheOpenRecordingFirst)
{
    model::ModelManager().setActiveModel("tiny");
    SettingsData settings;
    settings.hotkey = "F9";
    settings.toggleMode = true;
    run(settings, [&] {
        system.press(vk::f1 + 8);
        system.release(vk::f1 + 8);
        ASSERT_TRUE(opensMicrophone());
        card.push(speech);
        choose("Quit");
        EXPECT_THAT(system.pastes(), ElementsAre("hello world"));
        EXPECT_EQ(card.openStreams(), 0U);
    });
}

// The settings window knows the microphone, which the program gives up before it.
TEST_F(ApplicationTest, EndsInOrderWithTheSettingsWindowOpen)
{
    for (const bool testsMicrophone : {false, true})
        run({}, [&] {
            choose("Settings...");
            find<QTabWidget>("settingsTabs")->setCurrentIndex(1);
            if (testsMicrophone)
                find<QPushButton>("micTestButton")->click();
            EXPECT_EQ(card.openStreams(), testsMicrophone);
        });
    EXPECT_EQ(card.openStreams(), 0U);
}

} // namespace
} // namespace quillo

#include "app/application.h"

#include "support/fake_portaudio.h"
#include "support/private_profile.h"
#include "support/top_level.h"

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QPushButton>
#include <QTabWidget>
#include <QTimer>

#include <gtest/gtest.h>

namespace quillo {
namespace {

const test::PrivateProfile profile;

template<typename Widget> Widget* find(const char* objectName)
{
    for (QWidget* window : QApplication::topLevelWidgets())
        if (auto* const widget = window->findChild<Widget*>(objectName))
            return widget;
    return nullptr;
}

void chooseSettings()
{
    for (const QMenu* menu : test::topLevel<QMenu>())
        for (QAction* action : menu->actions())
            if (action->text().startsWith("Settings"))
                action->trigger();
}

// The settings window knows the microphone, which the program gives up before it.
TEST(Application, EndsInOrderWithTheSettingsWindowOpen)
{
    auto& card = test::FakePortAudio::instance();
    for (const bool testsMicrophone : {false, true}) {
        card.reset();
        Application application(0, nullptr);
        bool isTesting = false;
        QTimer::singleShot(0, qApp, [&] {
            chooseSettings();
            auto* const tabs = find<QTabWidget>("settingsTabs");
            ASSERT_TRUE(tabs);
            tabs->setCurrentIndex(1);
            if (testsMicrophone)
                find<QPushButton>("micTestButton")->click();
            isTesting = card.openStreams() == 1;
            QCoreApplication::quit();
        });
        EXPECT_EQ(application.run(), 0);
        EXPECT_EQ(isTesting, testsMicrophone);
    }
    EXPECT_EQ(card.openStreams(), 0U);
}

} // namespace
} // namespace quillo

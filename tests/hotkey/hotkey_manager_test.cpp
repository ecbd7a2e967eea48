#include "hotkey/hotkey_manager.h"

#include "stand_ins/eventually.h"
#include "stand_ins/fake_platform.h"

#include <gtest/gtest.h>

#include <atomic>

namespace quillo {
namespace {

namespace vk = platform::vk;

class HotkeyManagerTest : public testing::Test {
protected:
    void SetUp() override { system_.reset(); }
    void TearDown() override { HotkeyManager::stop(); }

    bool start()
    {
        return HotkeyManager::start(
            defaultHotkey, [this] { ++presses_; }, [this] { ++releases_; });
    }

    void startAndPress()
    {
        ASSERT_TRUE(start());
        system_.press({vk::leftControl, vk::leftShift, vk::space});
    }

    static constexpr auto refusal = "[Quillo] ERROR: Failed to install keyboard hook (error 5)\n";

    test::FakePlatform& system_ = test::FakePlatform::instance();
    std::atomic<int> presses_{0};
    std::atomic<int> releases_{0};
};

TEST_F(HotkeyManagerTest, ReportsPressAndReleaseOfTheHotkeyThatWasStartedLast)
{
    HotkeyManager::stop(); // of nothing
    ASSERT_TRUE(HotkeyManager::start(
        {platform::modAlt, 'X'}, [] { ADD_FAILURE(); }, [] { ADD_FAILURE(); }));
    startAndPress();
    EXPECT_EQ(system_.hooksRunning(), 1);
    system_.press({vk::leftMenu, 'X'});
    EXPECT_TRUE(system_.press(vk::space));
    EXPECT_EQ(presses_, 1);
    EXPECT_TRUE(system_.release(vk::space));
    EXPECT_EQ(releases_, 1);
    EXPECT_FALSE(system_.press('A'));

    system_.press(vk::space);
    HotkeyManager::stop();
    EXPECT_EQ(system_.hooksRunning(), 0);
    system_.release(vk::space);
    EXPECT_EQ(presses_, 2);
    EXPECT_EQ(releases_, 1) << "an action ran after stop";
}

TEST_F(HotkeyManagerTest, RefusedHookLeavesNothingBehind)
{
    system_.refuseHook(5);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(start());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), refusal);
    EXPECT_EQ(system_.hooksRunning(), 0);
    system_.refuseHook(0);
    EXPECT_TRUE(start());
}

TEST_F(HotkeyManagerTest, LostHookIsPutBack)
{
    startAndPress();
    system_.loseHook();
    EXPECT_EQ(system_.hooksInstalled(), 2);
    EXPECT_TRUE(system_.press(vk::space));
    EXPECT_EQ(presses_, 1) << "it is still held";
    system_.release(vk::space);
    EXPECT_EQ(releases_, 1);

    system_.press(vk::space);
    system_.loseHook({vk::space});
    EXPECT_FALSE(system_.press('A')) << "the hook has come back, and has looked at its key";
    EXPECT_EQ(releases_, 2);
}

TEST_F(HotkeyManagerTest, LostHookThatIsRefusedIsAskedForAgain)
{
    startAndPress();
    testing::internal::CaptureStderr();
    system_.takeHookAway(5, 2);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), refusal);
    EXPECT_EQ(releases_, 1) << "nobody would see it";

    system_.refuseHook(0);
    ASSERT_TRUE(test::eventually([&] { return system_.hooksRunning() == 1; }));
    EXPECT_TRUE(system_.press(vk::space));
    EXPECT_EQ(presses_, 2);

    system_.takeHookAway(5, 1);
    HotkeyManager::stop(); // while it waits to ask again
    EXPECT_EQ(releases_, 2);
}

TEST_F(HotkeyManagerTest, PauseLetsThePressThroughAndKeepsTheRelease)
{
    startAndPress();
    {
        const HotkeyManager::Pause pause;
        EXPECT_TRUE(system_.press(vk::space)) << "the press before it goes on";
        EXPECT_TRUE(system_.release(vk::space));
        EXPECT_EQ(releases_, 1);
        EXPECT_FALSE(system_.press(vk::space));
    }
    EXPECT_FALSE(system_.press(vk::space)) << "it repeats";
    EXPECT_FALSE(system_.release(vk::space));
    EXPECT_EQ(presses_, 1);
    EXPECT_TRUE(system_.press(vk::space));
    EXPECT_EQ(presses_, 2);
}

} // namespace
} // namespace quillo

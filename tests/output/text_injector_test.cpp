#include "output/text_injector.h"

#include "stand_ins/fake_platform.h"

#include <gmock/gmock.h>

namespace quillo {
namespace {

TEST(TextInjector, PastesWhatTheClipboardCanBeMadeToHold)
{
    auto& system = test::FakePlatform::instance();
    system.reset();
    const std::string text = "d\xC3\xA9j\xC3\xA0 vu \xE2\x9C\x93 \xF0\x9F\x98\x80\nnew line";
    const auto always = [begin = std::chrono::steady_clock::now()] {
        EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(50)) << "for clipboard watchers";
        return true;
    };
    TextInjector::paste(text, always, {});
    TextInjector::paste("", always, {}); // the shortcut alone: what the clipboard holds is pasted once more
    system.refuseClipboard(true);
    TextInjector::paste("lost", always, {});
    EXPECT_THAT(system.pastes(), testing::ElementsAre(text, text, text));
}

TEST(TextInjector, GivesUpTheShortcutAndKeepsTheText)
{
    auto& system = test::FakePlatform::instance();
    system.reset();
    int waits = 0;
    TextInjector::paste(
        "kept", [] { return false; }, [&] { return ++waits < 3; });
    EXPECT_THAT(system.pastes(), testing::IsEmpty());
    EXPECT_EQ(waits, 3);
    TextInjector::paste("", [] { return true; }, {});
    EXPECT_THAT(system.pastes(), testing::ElementsAre("kept"));
}

} // namespace
} // namespace quillo

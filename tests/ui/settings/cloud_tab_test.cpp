#include "ui/settings/cloud_tab.h"
#include "ui/settings/late_calls.h"

#include "support/widgets.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

namespace quillo {
namespace {

using Requests = std::vector<std::pair<std::string, std::string>>;

// Everything holds for both services alike.
class CloudTabTest : public testing::TestWithParam<const char*> {
protected:
    CloudTabTest() { tab->show(); }

    template<typename Widget = QPushButton> Widget& find(const char* role)
    {
        return test::find<Widget>(*tab, QString(GetParam()) + role);
    }
    void enable(bool on) { find<QCheckBox>("EnableBox").setChecked(on); }
    QLineEdit& keyEdit() { return find<QLineEdit>("KeyEdit"); }
    QPushButton& testButton() { return find("TestButton"); }
    void startTest(const char* key)
    {
        enable(true);
        keyEdit().setText(key);
        testButton().click();
    }

    Requests requests;
    std::function<void(bool)> done;
    std::unique_ptr<CloudTab> tab = std::make_unique<CloudTab>(
        [this](const std::string& service, const std::string& key, std::function<void(bool)> answer) {
            requests.emplace_back(service, key);
            done = std::move(answer);
        });
};

INSTANTIATE_TEST_SUITE_P(Services, CloudTabTest, testing::Values("openai", "mistral"),
    [](const auto& tested) { return std::string(tested.param); });

TEST_P(CloudTabTest, KeyAndTestBelongToAnEnabledService)
{
    auto& show = find("ShowButton");
    for (const bool on : {false, true, false}) {
        enable(on);
        EXPECT_EQ(keyEdit().isEnabled(), on);
        EXPECT_EQ(testButton().isEnabled(), on);
        for (const bool shown : {false, true}) { // a key can be looked at without its service
            EXPECT_EQ(keyEdit().echoMode(), shown ? QLineEdit::Normal : QLineEdit::Password);
            EXPECT_EQ(show.text(), shown ? "Hide" : "Show");
            EXPECT_TRUE(show.accessibleName().startsWith(show.text()));
            show.click();
        }
    }
    show.click();
    tab->hide();
    EXPECT_EQ(keyEdit().echoMode(), QLineEdit::Password) << "seen by whoever opens the window next";
}

TEST_P(CloudTabTest, ResultIsShownForAWhile)
{
    const auto shows = [this](const char* text, const char* style) {
        return test::waitFor(
            [&] { return testButton().text() == text && testButton().styleSheet().startsWith(style); });
    };
    const auto test = [&](bool accepted) {
        startTest("  \tsecret ");
        enable(false);
        enable(true);
        EXPECT_FALSE(testButton().isEnabled());
        std::thread([&] { done(accepted); }).join();
        EXPECT_EQ(testButton().text(), "...") << "widgets are left alone on other threads";
    };
    QElapsedTimer clock;
    clock.start();
    test(false);
    EXPECT_TRUE(shows("Fail", "color: #f87171"));
    enable(false);
    test(true); // at once: the button works while it shows a result
    enable(false);
    EXPECT_TRUE(shows("OK!", "color: #4ade80"));
    EXPECT_TRUE(shows("Test", nullptr));
    EXPECT_GE(clock.elapsed(), 1'800); // timers may be early by a twentieth
    EXPECT_EQ(testButton().styleSheet(), "");
    EXPECT_FALSE(testButton().isEnabled()) << "the service was switched off meanwhile";
    EXPECT_EQ(requests, Requests(2, {GetParam(), "secret"}));
    EXPECT_EQ(keyEdit().text(), "  \tsecret ");
    startTest("secret");
    tab.reset();
    done(true); // an answer may come when the page has gone
    QCoreApplication::processEvents();
}

TEST_P(CloudTabTest, NothingIsTestedWithoutAKeyOrAnyoneToAsk)
{
    startTest(" \t ");
    EXPECT_THAT(requests, testing::IsEmpty());
    tab = std::make_unique<CloudTab>(nullptr);
    startTest("secret");
    EXPECT_EQ(testButton().text(), "Test");
    EXPECT_TRUE(testButton().isEnabled());
}

// Otherwise a call could still be about to post when the application itself has gone.
TEST(LateCallsTest, WidgetStaysUntilACallThatHasBegunIsPosted)
{
    static std::atomic<bool> posting;
    static std::atomic<bool> gone;
    posting = gone = false;
    struct Action {
        Action() = default;
        Action(Action&&) = default;
        Action(const Action& /*posted*/)
        {
            posting = true;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            EXPECT_FALSE(gone);
        }
        void operator()() const { ADD_FAILURE() << "the widget has gone"; }
    };
    auto calls = std::make_unique<LateCalls>();
    std::thread caller(calls->to(Action()));
    EXPECT_TRUE(test::waitFor([] { return posting.load(); }));
    calls.reset();
    gone = true;
    caller.join();
    QCoreApplication::processEvents();
}

} // namespace
} // namespace quillo

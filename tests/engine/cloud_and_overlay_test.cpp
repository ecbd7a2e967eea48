#include "engine/engine_fixture.h"
#include "support/stand_in_services.h"
#include "support/top_level.h"
#include "transcribe/cloud_transcriber.h"
#include "ui/overlay/overlay_controller.h"
#include "ui/overlay/overlay_widget.h"

#include <QApplication>
#include <QLabel>

namespace quillo {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr auto listening = "Listening...";
constexpr auto processing = "Processing...";
constexpr auto notTranscribed = "Could not transcribe";
constexpr auto pasted = "\xE2\x9C\x93 Pasted";

QString shownOnOverlay()
{
    const auto* pill = test::topLevel<ui::OverlayWidget>().value(0);
    return pill && pill->isVisible() ? pill->findChild<QLabel*>()->text() : QString();
}

/// In the middle, from above or, negative, from below.
QColor colourOnOverlay(int y)
{
    const QImage pill = test::topLevel<ui::OverlayWidget>().value(0)->grab().toImage();
    return pill.pixelColor(pill.width() / 2, y < 0 ? pill.height() + y : y);
}

/// The engine with everything attached: the pill on an invisible screen, and a cloud service on loopback.
class WholeEngineTest : public EngineTest {
protected:
    void SetUp() override
    {
        EngineTest::SetUp();
        engine_.setCloudTranscriber(&cloud_);
        engine_.setOverlay(&overlay_);
        cloud_.setProviders({{"openai", "key", services_.url("/transcribe"), true}});
    }

    /// Waits for a text on the pill. What was shown on the way is added to seen_.
    bool waitForOverlay(const std::string& text)
    {
        return waitFor([&] {
            const std::string shown = shownOnOverlay().toStdString();
            if (!shown.empty() && (seen_.empty() || seen_.back() != shown))
                seen_.push_back(shown);
            return shown == text;
        });
    }

    StandInServices services_;
    CloudTranscriber cloud_;
    OverlayController overlay_;
    std::vector<std::string> seen_;
};

TEST_F(WholeEngineTest, TheOverlayFollowsADictation)
{
    loadModel();
    engine_.start();
    hold(spoken(0));
    ASSERT_TRUE(waitForOverlay(listening));
    releaseHotkey();
    ASSERT_TRUE(waitForOverlay(pasted));
    EXPECT_THAT(seen_, ElementsAre(listening, processing, pasted));
    EXPECT_THAT(services_.requests(), IsEmpty()) << "local recognition succeeded";

    sound_.fail(PaCall::OpenStream);
    pressHotkey();
    ASSERT_TRUE(waitForOverlay(listening));
    releaseHotkey();
    ASSERT_TRUE(waitForOverlay("No audio captured"));
    EXPECT_TRUE(waitFor([] {
        const QColor background = colourOnOverlay(5);
        return background.red() > background.blue();
    })) << "as an error is shown";
}

TEST_F(WholeEngineTest, OneKindOfRecognitionStandsInForTheOther)
{
    const struct {
        const char* source;
        bool modelLoaded;
        const char* answer;
        const char* text; ///< null: none
        int requests;
    } cases[] = {
        {"openai", true, R"({"body": "{\"text\": \" from the cloud\\n\"}"})", "from the cloud", 1},
        {"mistral", true, R"({"body": "{\"text\": \"from the cloud\"}"})", "from the cloud", 1},
        {"openai", true, R"({"status": 500, "body": "{\"text\": \"an error\"}"})", sentences[0], 1},
        {"openai", true, R"({"how": "drop"})", sentences[0], 1},
        {"openai", false, R"({"status": 401, "body": "no"})", nullptr, 1},
        {"local", false, R"({"body": "{\"text\": \"from the cloud\"}"})", "from the cloud", 1},
        {"local", true, R"({"body": "{\"text\": \"from the cloud\"}"})", sentences[0], 0},
        {"OpenAI", true, R"({"body": "{\"text\": \"from the cloud\"}"})", sentences[0], 0},
        {"openai", false, R"({"body": "{\"text\": \"   \"}"})", "   ", 1},
    };
    std::size_t requests = 0;
    std::vector<std::string> expected;
    engine_.start();
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.source) + (c.modelLoaded ? ", with a model, " : ", without a model, ") + c.answer);
        services_.answer("/transcribe", c.answer);
        engine_.setTranscriptionSource(c.source);
        transcriber_.loadModel(c.modelLoaded ? QUILLO_TEST_DATA_DIR "/ggml-mini.bin" : "");
        dictate(0);
        ASSERT_TRUE(waitForOverlay(processing));
        EXPECT_TRUE(waitForOverlay(c.text ? pasted : notTranscribed));
        if (c.text)
            expected.emplace_back(c.text);
        EXPECT_EQ(delivered(), expected);
        requests += static_cast<std::size_t>(c.requests);
        ASSERT_EQ(services_.requests().size(), requests);
        EXPECT_EQ(services_.requests().back().parts.at(0).content.size(), 44 + 2 * spoken(0).size());
    }
    const std::string log = finalLog();
    EXPECT_THAT(log, HasSubstr("[Quillo] Trying cloud transcription (openai)...\n"));
    EXPECT_THAT(log, HasSubstr("[Quillo] Trying cloud transcription (local)...\n"));
}

TEST_F(WholeEngineTest, WithoutAServiceASilentRecordingHoldsUpNobody)
{
    cloud_.setProviders({});
    loadModel();
    engine_.start();
    const auto tap = [this] {
        hold(silence);
        ASSERT_TRUE(waitForOverlay(listening));
        releaseHotkey();
        ASSERT_TRUE(waitForOverlay(processing));
    };
    for (int i = 0; i < 3; ++i) // half a minute each, if they were waited for, which this test has no time for
        tap();
    dictate(0);
    ASSERT_TRUE(waitForOverlay(pasted));
    EXPECT_THAT(seen_, testing::Not(testing::Contains(notTranscribed)));
    tap();
    tap();
    engine_.stop();
    EXPECT_THAT(delivered(), ElementsAre(sentences[0]));
}

/// Whether the pill has been painted with "Processing...".
struct PaintSeen : QObject {
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        seen |= event->type() == QEvent::Paint && dynamic_cast<ui::OverlayWidget*>(watched)
            && shownOnOverlay() == processing;
        return false;
    }
    bool seen = false;
};

TEST_F(WholeEngineTest, TheOverlayIsPaintedBeforeStopWaits)
{
    loadModel();
    engine_.start();
    hold(spoken(0));
    PaintSeen painted;
    qApp->installEventFilter(&painted);
    engine_.stop();
    EXPECT_TRUE(painted.seen);
}

TEST_F(WholeEngineTest, StopWaitsForTheCloudAndLeavesNothingOnTheOverlay)
{
    services_.answer("/transcribe", R"({"body": "{\"text\": \"late words\"}", "delay": 0.5})");
    engine_.setTranscriptionSource("openai");
    engine_.start();
    dictate(0);
    ASSERT_TRUE(waitFor([&] { return services_.requests().size() == 1; }));
    engine_.stop();
    EXPECT_THAT(system_.pastes(), ElementsAre("late words"));
    engine_.start();
    dictate(0);
    EXPECT_TRUE(waitForOverlay(pasted)) << "nothing else is under way";
}

TEST_F(WholeEngineTest, TheOverlayShowsTheLevelOfTheLatestBlock)
{
    engine_.start();
    hold(std::vector<float>(60 * 16000, 0.5F));
    const auto barIsShown = [] { return colourOnOverlay(-5) == QColor(0x7c, 0x6a, 0xef); };
    EXPECT_TRUE(waitFor(barIsShown));
    sound_.push(std::vector<float>(512, 0.0F));
    EXPECT_TRUE(waitFor([&] { return !barIsShown(); }));
}

} // namespace
} // namespace quillo

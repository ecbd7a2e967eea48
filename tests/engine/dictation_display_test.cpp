#include "engine/dictation_display.h"
#include "support/top_level.h"
#include "ui/overlay/overlay_controller.h"
#include "ui/overlay/overlay_widget.h"

#include <QApplication>
#include <QLabel>

#include <gtest/gtest.h>

#include <chrono>
#include <map>

namespace quillo {
namespace {

using Outcome = DictationDisplay::Outcome;
const std::map<char, Outcome> outcomes{
    {'P', Outcome::Pasted}, {'A', Outcome::NoAudio}, {'T', Outcome::NotTranscribed}, {'S', Outcome::Superseded}};

/// Recordings are opened (o) and closed (c), and end pasted (P), without audio (A), without text (T) or superseded (S);
/// the user looks on for a glance (,) or for long enough to read (.).
struct Story {
    const char* events;
    const char* shown; ///< initials of the texts on the pill, one after the other
};

class DictationDisplayTest : public testing::TestWithParam<Story> {
protected:
    void happen(char event)
    {
        switch (event) {
        case 'o':
            return display_.showOpened();
        case 'c':
            return display_.showClosed();
        case ',':
        case '.':
            return lookOn(std::chrono::milliseconds(event == '.' ? 1700 : 400));
        default:
            display_.showEnd(outcomes.at(event));
        }
    }

    void lookOn(std::chrono::milliseconds time)
    {
        for (const auto end = std::chrono::steady_clock::now() + time; std::chrono::steady_clock::now() < end; note())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }

    void note()
    {
        const auto* pill = test::topLevel<ui::OverlayWidget>().value(0);
        if (!pill || !pill->isVisible())
            return;
        const QString text = pill->findChild<QLabel*>()->text();
        const QChar initial = text.startsWith(u'\u2713') ? u'P' : text.startsWith("Processing") ? u'p' : text[0];
        if (shown_.isEmpty() || shown_.back() != initial)
            shown_ += initial;
    }

    OverlayController overlay_;
    DictationDisplay display_;
    QString shown_;
};

TEST_P(DictationDisplayTest, TellsOfEveryDictationInItsTurn)
{
    display_.setOverlay(&overlay_);
    for (const char* event = GetParam().events; *event; ++event) {
        happen(*event);
        note();
    }
    EXPECT_EQ(shown_.toStdString(), GetParam().shown);
}

// L: "Listening...", p: "Processing...", P: pasted, N: "No audio captured", C: "Could not transcribe"
INSTANTIATE_TEST_SUITE_P(Stories, DictationDisplayTest,
    testing::Values(Story{"ocP", "LpP"}, Story{"ocA.", "LpN"}, Story{"ocT,ocP", "LpCLpP"}, Story{"ocToc.P.", "LpCLpCP"},
        Story{"ococP,P", "LpLpP"}, Story{"ocoPcP", "LpLpP"}, Story{"ocoTcP.", "LpLpCP"}, Story{"ocoTcT.", "LpLpC"},
        Story{"ococT.P", "LpLpCpP"}, Story{"ococA,P.", "LpLpNP"}, Story{"ococSP", "LpLpP"}, Story{"ocS", "LpC"},
        Story{"ooc", "L"}, Story{"oocPcP", "LpP"}));

} // namespace
} // namespace quillo

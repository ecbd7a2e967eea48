#include "engine/dictation_display.h"

#include "ui/overlay/overlay_controller.h"

#include <chrono>

namespace quillo {

namespace {

constexpr std::chrono::milliseconds readingTime(1500); // of a failure that something else follows
constexpr std::chrono::milliseconds glance(200); // which has to do when a new recording follows

} // namespace

DictationDisplay::DictationDisplay()
{
    failureShown_.setSingleShot(true);
    QObject::connect(&failureShown_, &QTimer::timeout, &failureShown_, [this] {
        failures_.pop_front();
        showNext();
    });
}

void DictationDisplay::showOpened()
{
    if (!overlay_)
        return;
    ++open_;
    if (failureShown_.isActive()) {
        if (failureShown_.remainingTimeAsDuration() < readingTime - glance)
            failures_.pop_front();
        failureShown_.stop();
    }
    overlay_->placeAt(0.5F, 0.1F);
    overlay_->show();
    overlay_->setState(OverlayState::Listening);
    overlay_->setText("Listening...");
}

void DictationDisplay::showClosed()
{
    if (!overlay_)
        return;
    --open_;
    ++underWay_;
    if (open_ == 0)
        showProcessing();
}

void DictationDisplay::showEnd(Outcome outcome)
{
    if (!overlay_)
        return;
    --underWay_;
    if (outcome == Outcome::Superseded && underWay_ == 0)
        outcome = Outcome::NotTranscribed; // by nothing that will have an outcome of its own
    pasted_ = outcome == Outcome::Pasted;
    const bool failed = outcome == Outcome::NoAudio || outcome == Outcome::NotTranscribed;
    if (failed && (failures_.empty() || failures_.back() != outcome))
        failures_.push_back(outcome);
    if (open_ == 0 && !failureShown_.isActive())
        showNext();
}

void DictationDisplay::showNext()
{
    if (!failures_.empty()) {
        overlay_->setState(OverlayState::Error);
        overlay_->setText(failures_.front() == Outcome::NoAudio ? "No audio captured" : "Could not transcribe");
        failureShown_.start(readingTime);
    } else if (underWay_ > 0) {
        showProcessing();
    } else if (pasted_) {
        overlay_->showPasted();
    }
}

void DictationDisplay::showProcessing()
{
    overlay_->setState(OverlayState::Processing);
    overlay_->setText("Processing...");
}

void DictationDisplay::showLevel(int level)
{
    if (overlay_)
        overlay_->setLevel(level);
}

void DictationDisplay::paint()
{
    if (overlay_)
        overlay_->paint();
}

void DictationDisplay::clear()
{
    failureShown_.stop();
    failures_.clear();
    open_ = underWay_ = 0;
}

} // namespace quillo

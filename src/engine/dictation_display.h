#pragma once

#include <QTimer>

#include <deque>

namespace quillo {

class OverlayController;

/// What the overlay tells of the dictations, several of which may be under way at once: one records while others are
/// recognised. An open recording comes before everything; a failure is told all the same, when its turn comes.
/// User-interface thread.
class DictationDisplay {
public:
    enum class Outcome {
        Pasted,
        NoAudio,
        NotTranscribed,
        Superseded, ///< nothing was heard in it, and there is a newer one, whose outcome tells more
    };

    DictationDisplay();

    /// Not owned; null: nothing is shown.
    void setOverlay(OverlayController* overlay) { overlay_ = overlay; }

    void showOpened(); ///< a recording has been opened
    void showClosed(); ///< one has been closed, possibly after the next was opened: its recognition is under way
    void showEnd(Outcome outcome); ///< of the oldest dictation under way

    /// 0 to 100, of the open recording.
    void showLevel(int level);

    /// Paints what is shown now, since this thread will be busy.
    void paint();

    /// Forgets the dictations and shows nothing more of them.
    void clear();

private:
    void showProcessing();
    void showNext();

    OverlayController* overlay_ = nullptr;
    int open_ = 0; // recordings
    int underWay_ = 0; // recordings that are closed and not at their end
    bool pasted_ = false; // the latest end was a success
    std::deque<Outcome> failures_; // not shown for long enough
    QTimer failureShown_; // runs while the first of them is being shown
};

} // namespace quillo

#pragma once

#include "hotkey/hotkey_manager.h"

#include <QLineEdit>

#include <functional>
#include <optional>

namespace quillo {

/// A field that shows a hotkey and takes a new one by having it pressed. Clicked, or reached by keyboard, it waits for
/// a combination; Escape, or the focus going elsewhere, brings the old one back. Meanwhile the present hotkey records
/// nothing, so that it can be pressed here too. User-interface thread.
class HotkeyEdit final : public QLineEdit {
public:
    /// onHotkeyChanged receives each hotkey that the user pressed.
    explicit HotkeyEdit(std::function<void(const QString& hotkey)> onHotkeyChanged);

    /// The hotkey as last shown, also while the field waits for another.
    QString hotkey() const;

    /// Shows another hotkey. The field stops waiting and gives up the focus.
    void setHotkey(const QString& hotkey);

    /// Asks for a combination, unless it does so already.
    void beginCapture();

protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    void endCapture(const QString& text);
    void keepFromWindow(int key);

    bool capturing_ = false; ///< waits for a combination
    bool beingShown_ = false; ///< the page that it is on opens
    int heldKey_ = 0; ///< has ended the wait and is not known to be up again; 0: none
    std::optional<HotkeyManager::Pause> pause_; ///< while it waits
    QString previousText_; ///< what was shown before
    const std::function<void(const QString&)> onHotkeyChanged_;
};

} // namespace quillo

#include "ui/settings/hotkey_edit.h"

#include "hotkey/hotkey.h"
#include "platform/key_event.h"
#include "platform/keys.h"
#include "ui/settings/look.h"

#include <QFocusEvent>
#include <QKeyEvent>
#include <QKeySequence>
#include <QMouseEvent>
#include <QTimer>

#include <cstdint>
#include <utility>

namespace quillo {

namespace {

constexpr auto normalStyle = "QLineEdit { font-size: 14px; font-weight: bold; }";
constexpr auto capturingStyle = "QLineEdit { font-size: 14px; font-weight: bold;  border: 2px solid %1; }";

bool isModifier(int key)
{
    switch (key) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Meta:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_Super_L: // what the Windows key is called, and where, depends on the keyboard layout
    case Qt::Key_Super_R:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R:
        return true;
    default:
        return false;
    }
}

// Digits are keys: with Shift, or in layouts such as the French without, they type signs that hotkeys do not know.
QString keyName(const QKeyEvent& event)
{
    const std::uint32_t virtualKey = platform::virtualKeyOfEvent(event.nativeScanCode(), event.nativeVirtualKey());
    if (virtualKey >= '0' && virtualKey <= '9')
        return QChar(virtualKey);
    return QKeySequence(event.key()).toString(QKeySequence::PortableText);
}

QString hotkeyText(const QKeyEvent& event)
{
    constexpr std::pair<Qt::KeyboardModifier, std::uint32_t> toolkitModifiers[] = {
        {Qt::ControlModifier, platform::modCtrl},
        {Qt::ShiftModifier, platform::modShift},
        {Qt::AltModifier, platform::modAlt},
        {Qt::MetaModifier, platform::modWin},
    };
    std::uint32_t modifiers = 0;
    for (const auto& [toolkitModifier, modifier] : toolkitModifiers)
        if (event.modifiers() & toolkitModifier)
            modifiers |= modifier;
    return QString::fromStdString(modifierPrefix(modifiers)) + keyName(event);
}

} // namespace

HotkeyEdit::HotkeyEdit(std::function<void(const QString& hotkey)> onHotkeyChanged)
    : onHotkeyChanged_(std::move(onHotkeyChanged))
{
    setReadOnly(true);
    setAlignment(Qt::AlignCenter);
    setFixedHeight(40);
    setStyleSheet(normalStyle);
    setCursor(Qt::PointingHandCursor);
    setContextMenuPolicy(Qt::NoContextMenu); // it would take the focus away
}

QString HotkeyEdit::hotkey() const
{
    return capturing_ ? previousText_ : text();
}

void HotkeyEdit::setHotkey(const QString& hotkey)
{
    endCapture(hotkey);
    clearFocus();
}

void HotkeyEdit::beginCapture()
{
    if (capturing_)
        return;
    previousText_ = text();
    capturing_ = true;
    pause_.emplace();
    setText("Press a key combination...");
    setStyleSheet(QString(capturingStyle).arg(color::accent));
}

void HotkeyEdit::endCapture(const QString& text)
{
    setText(text);
    capturing_ = false;
    pause_.reset();
    setStyleSheet(normalStyle);
}

// A key that ends the wait repeats while it is held, and the window would take that for Escape or Return of its own.
void HotkeyEdit::keepFromWindow(int key)
{
    heldKey_ = key;
    window()->installEventFilter(this);
}

bool HotkeyEdit::eventFilter(QObject* watched, QEvent* event)
{
    const auto type = event->type();
    if (type != QEvent::KeyPress && type != QEvent::ShortcutOverride)
        return QLineEdit::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event); // NOLINT(cppcoreguidelines-pro-type-static-cast-downcast)
    if (key->isAutoRepeat() && key->key() == heldKey_) {
        event->accept();
        return true;
    }
    heldKey_ = 0;
    watched->removeEventFilter(this);
    return false;
}

void HotkeyEdit::showEvent(QShowEvent* event)
{
    QLineEdit::showEvent(event);
    beingShown_ = true;
    QTimer::singleShot(0, this, [this] { beingShown_ = false; });
}

bool HotkeyEdit::event(QEvent* event)
{
    // Without this, a combination that is a shortcut in the window, such as a button's, would act and not be captured.
    if (capturing_ && event->type() == QEvent::ShortcutOverride) {
        event->accept();
        return true;
    }
    return QLineEdit::event(event);
}

void HotkeyEdit::mousePressEvent(QMouseEvent* event)
{
    QLineEdit::mousePressEvent(event);
    beginCapture();
}

// Every key stays here while the field waits: none reaches the line edit or the buttons of the window.
void HotkeyEdit::keyPressEvent(QKeyEvent* event)
{
    if (!capturing_) {
        event->ignore();
        return;
    }
    if (isModifier(event->key()))
        return;
    if (event->key() == Qt::Key_Tab || event->key() == Qt::Key_Backtab) { // with Ctrl, or the focus would have moved
        endCapture(previousText_);
        event->ignore(); // who only leafs through the pages of the window must not come by another hotkey
        return;
    }
    if (event->key() == Qt::Key_Escape) {
        keepFromWindow(event->key());
        setHotkey(previousText_);
        return;
    }
    const QString captured = hotkeyText(*event);
    if (captured.isEmpty())
        return;
    keepFromWindow(event->key());
    setHotkey(captured);
    onHotkeyChanged_(captured);
}

void HotkeyEdit::focusInEvent(QFocusEvent* event)
{
    QLineEdit::focusInEvent(event);
    // A page that opens gives the focus to its first field, for which nobody has asked.
    if (!beingShown_ || event->reason() != Qt::OtherFocusReason)
        beginCapture();
}

void HotkeyEdit::focusOutEvent(QFocusEvent* event)
{
    QLineEdit::focusOutEvent(event);
    if (capturing_)
        endCapture(previousText_);
}

} // namespace quillo

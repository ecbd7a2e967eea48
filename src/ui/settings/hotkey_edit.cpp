#include "ui/settings/hotkey_edit.h"

#include <QFocusEvent>
#include <QKeyEvent>
#include <QKeySequence>
#include <QMouseEvent>

#include <utility>

namespace quillo {

namespace {

constexpr auto normalStyle = "QLineEdit { font-size: 14px; font-weight: bold; }";
constexpr auto capturingStyle = "QLineEdit { font-size: 14px; font-weight: bold;  border: 2px solid #7c6aef; }";

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

QString hotkeyText(const QKeyEvent& event)
{
    constexpr std::pair<Qt::KeyboardModifier, const char*> prefixes[] = {
        {Qt::ControlModifier, "Ctrl+"},
        {Qt::ShiftModifier, "Shift+"},
        {Qt::AltModifier, "Alt+"},
        {Qt::MetaModifier, "Win+"},
    };
    QString text;
    for (const auto& [modifier, prefix] : prefixes)
        if (event.modifiers() & modifier)
            text += prefix;
    return text + QKeySequence(event.key()).toString(QKeySequence::PortableText);
}

} // namespace

HotkeyEdit::HotkeyEdit(QWidget* parent)
    : QLineEdit(parent)
{
    setReadOnly(true);
    setAlignment(Qt::AlignCenter);
    setFixedHeight(40);
    setStyleSheet(normalStyle);
    setCursor(Qt::PointingHandCursor);
    setContextMenuPolicy(Qt::NoContextMenu); // it would take the focus away
}

HotkeyEdit::~HotkeyEdit() = default;

QString HotkeyEdit::hotkey() const
{
    return capturing_ ? previousText_ : text();
}

void HotkeyEdit::setHotkey(const QString& hotkey)
{
    endCapture(hotkey);
    clearFocus();
}

void HotkeyEdit::setOnHotkeyChanged(std::function<void(const QString& hotkey)> onHotkeyChanged)
{
    onHotkeyChanged_ = std::move(onHotkeyChanged);
}

void HotkeyEdit::beginCapture()
{
    if (capturing_)
        return;
    previousText_ = text();
    capturing_ = true;
    setText("Press a key combination...");
    setStyleSheet(capturingStyle);
}

void HotkeyEdit::endCapture(const QString& text)
{
    setText(text);
    capturing_ = false;
    setStyleSheet(normalStyle);
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
        setHotkey(previousText_);
        return;
    }
    const QString captured = hotkeyText(*event);
    if (captured.isEmpty())
        return;
    setHotkey(captured);
    if (onHotkeyChanged_)
        onHotkeyChanged_(captured);
}

void HotkeyEdit::focusInEvent(QFocusEvent* event)
{
    QLineEdit::focusInEvent(event);
    if (event->reason() != Qt::OtherFocusReason) // the page has been opened: nobody has asked for the field itself
        beginCapture();
}

void HotkeyEdit::focusOutEvent(QFocusEvent* event)
{
    QLineEdit::focusOutEvent(event);
    if (capturing_)
        endCapture(previousText_);
}

} // namespace quillo

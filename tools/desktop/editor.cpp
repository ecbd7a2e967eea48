// Another application's text field: `desktop_editor FILE`.
//
// FILE always holds the whole text, replaced atomically at every change. Each key event, press of the mouse, focus
// change and change of the text is a line on standard output that begins with the monotonic time in nanoseconds. The
// line "clear" on standard input empties the field and is answered by "cleared"; the end of standard input ends the
// program.

#include <QApplication>
#include <QClipboard>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QMetaEnum>
#include <QPlainTextEdit>
#include <QSaveFile>
#include <QSocketNotifier>
#include <QTimer>

#include <chrono>
#include <cstdio>

#include <unistd.h>

namespace {

void report(const QString& what)
{
    const std::chrono::nanoseconds now = std::chrono::steady_clock::now().time_since_epoch();
    std::printf("%lld %s\n", static_cast<long long>(now.count()), qUtf8Printable(what));
    std::fflush(stdout);
}

template<typename Enum> QString nameOf(Enum value)
{
    return QString::fromLatin1(QMetaEnum::fromType<Enum>().valueToKey(static_cast<int>(value)));
}

QString modifierNames(Qt::KeyboardModifiers modifiers)
{
    return QString::fromLatin1(QMetaEnum::fromType<Qt::KeyboardModifiers>().valueToKeys(static_cast<int>(modifiers)));
}

class Editor : public QPlainTextEdit {
public:
    explicit Editor(const QString& path)
        : path_(path)
    {
        setWindowTitle(QStringLiteral("Text editor"));
        QFont large = font();
        large.setPointSize(16);
        setFont(large);
        resize(760, 320);
        save();
        connect(this, &QPlainTextEdit::textChanged, this, [this] {
            save();
            report(QStringLiteral("changed length=%1").arg(toPlainText().size()));
        });
    }

    void runCommand(const QByteArray& command)
    {
        if (command == "clear") {
            clear();
            report(QStringLiteral("cleared"));
        }
    }

protected:
    bool event(QEvent* event) override
    {
        switch (event->type()) {
        case QEvent::KeyPress:
        case QEvent::KeyRelease:
            reportKey(*static_cast<QKeyEvent*>(event));
            break;
        case QEvent::FocusIn:
        case QEvent::FocusOut:
            report(QStringLiteral("%1 reason=%2")
                       .arg(nameOf(event->type()), nameOf(static_cast<QFocusEvent*>(event)->reason())));
            break;
        default:
            break;
        }
        return QPlainTextEdit::event(event);
    }

    bool viewportEvent(QEvent* event) override
    {
        if (event->type() == QEvent::MouseButtonPress)
            report(nameOf(event->type()));
        return QPlainTextEdit::viewportEvent(event);
    }

    void keyPressEvent(QKeyEvent* event) override
    {
        if (event->matches(QKeySequence::Paste))
            insertPlainText(QGuiApplication::clipboard()->text()); // the widget's own way crashes without an answer
        else
            QPlainTextEdit::keyPressEvent(event);
    }

private:
    void reportKey(const QKeyEvent& event) const
    {
        report(
            QStringLiteral("%1 %2 modifiers=%3 repeat=%4")
                .arg(nameOf(event.type()), nameOf(static_cast<Qt::Key>(event.key())), modifierNames(event.modifiers()))
                .arg(int{event.isAutoRepeat()}));
    }

    void save() const
    {
        QSaveFile file(path_);
        if (!file.open(QIODevice::WriteOnly) || file.write(toPlainText().toUtf8()) < 0 || !file.commit())
            qFatal("cannot write %s", qUtf8Printable(path_));
    }

    QString path_;
};

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    if (application.arguments().size() != 2)
        qFatal("usage: desktop_editor FILE");
    Editor editor(application.arguments().at(1));
    editor.show();
    // The window manager may not have given the focus to a window that came while it was starting.
    QTimer focus;
    QObject::connect(
        &focus, &QTimer::timeout, &editor, [&] { editor.hasFocus() ? focus.stop() : editor.activateWindow(); });
    focus.start(500);

    QByteArray pending;
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &editor, [&] {
        char bytes[256];
        const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
        if (count <= 0)
            return QCoreApplication::quit();
        pending.append(bytes, static_cast<qsizetype>(count));
        for (qsizetype end = pending.indexOf('\n'); end >= 0; end = pending.indexOf('\n')) {
            editor.runCommand(pending.first(end));
            pending.remove(0, end + 1);
        }
    });
    return application.exec();
}

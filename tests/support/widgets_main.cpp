#include <QApplication>

#include <gtest/gtest.h>

namespace {

QtMessageHandler defaultHandler = nullptr;

void dropLimitations(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (!message.startsWith("This plugin does not support"))
        defaultHandler(type, context, message);
}

} // namespace

// Widgets need no screen here, and nothing of the desktop that the tests happen to run on.
int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qunsetenv("DISPLAY");
    if (qEnvironmentVariableIsSet("QUILLO_TEST_FONTS")) // Wine keeps the toolkit's own variables to itself
        qputenv("QT_QPA_FONTDIR", qgetenv("QUILLO_TEST_FONTS"));
    defaultHandler = qInstallMessageHandler(dropLimitations);
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}

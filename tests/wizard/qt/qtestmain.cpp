#include "qtwarnings.h"

#include <QApplication>
#include <QMutex>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

namespace {

QMutex trapLock;
QStringList trapped;
QtMessageHandler previousHandler = nullptr;

void trap(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type != QtDebugMsg && type != QtInfoMsg
        && !message.startsWith(u"This plugin does not support"_s)) {
        const QMutexLocker locked(&trapLock);
        trapped.append(message);
    }
    if (previousHandler)
        previousHandler(type, context, message);
}

} // namespace

QStringList takeQtWarnings()
{
    const QMutexLocker locked(&trapLock);
    return std::exchange(trapped, {});
}

void installQtWarningTrap()
{
    previousHandler = qInstallMessageHandler(trap);
}

} // namespace MGImport8::Test

// The widget tests run in a widget application on the offscreen platform, as a host would run
// the wizard, and catch Qt's warnings.
int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setApplicationDisplayName(u"Node Inventory"_s);
    MGImport8::Test::installQtWarningTrap();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

#include <QApplication>

#include <gtest/gtest.h>

// The widget tests run in a widget application on the offscreen platform, as a host would run
// the wizard.
int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setApplicationDisplayName(QStringLiteral("Node Inventory"));
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

#include <QCoreApplication>

#include <gtest/gtest.h>

// Tests run inside a core application so that Qt's event-driven pieces behave as in a host.
int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

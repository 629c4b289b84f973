// A console host (QCoreApplication, no widgets) calling StartWizard gets a clear refusal, not a
// crash: the warning says why and the result is that of a wizard closed unused.
#include <MGImport8/engine.h>

#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

namespace {

QStringList warnings;

void collect(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type == QtWarningMsg)
        warnings.append(message);
}

TEST(ConsoleHost, StartWizardWithoutWidgetsRefusesWithAWarning)
{
    MGImport8::Engine engine;
    int rows = 0;
    QObject::connect(&engine, &MGImport8::Engine::NewRow, &engine,
                     [&rows](MGImport8::ImportRow *, QString &, bool &) { ++rows; });
    const QtMessageHandler previous = qInstallMessageHandler(collect);
    const bool result = engine.StartWizard(&engine);
    qInstallMessageHandler(previous);

    EXPECT_TRUE(result);
    EXPECT_EQ(rows, 0);
    ASSERT_EQ(warnings.size(), 1);
    EXPECT_TRUE(warnings.constFirst().contains(QStringLiteral("QApplication")))
        << warnings.constFirst().toStdString();
}

} // namespace

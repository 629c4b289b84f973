// A console host (QCoreApplication, no widgets) calling StartWizard gets a clear refusal, not a
// crash: the warning says why and the result is that of a wizard closed unused.
#include <MGImport8/engine.h>

#include <QStringList>

#include <gtest/gtest.h>

namespace {

QStringList warnings;

TEST(ConsoleHost, StartWizardWithoutWidgetsRefusesWithAWarning)
{
    MGImport8::Engine engine;
    const QtMessageHandler previous = qInstallMessageHandler(
        [](QtMsgType type, const QMessageLogContext &, const QString &message) {
            if (type == QtWarningMsg)
                warnings.append(message);
        });
    EXPECT_TRUE(engine.StartWizard(&engine));
    qInstallMessageHandler(previous);
    ASSERT_EQ(warnings.size(), 1);
    EXPECT_TRUE(warnings.constFirst().contains(QStringLiteral("QApplication")))
        << warnings.constFirst().toStdString();
}

} // namespace

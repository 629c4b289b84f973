// node-inventory-database-screenshot STRUCTURE-FOLDER PICTURE: builds the monitoring database on a
// throwaway PostgreSQL cluster through Node Inventory's Database dialog, clicking by object names,
// and saves the dialog as it looks halfway through the run. It exits with 1 when no cluster can
// start, the run fails or no picture was taken, so a broken dialog never replaces the README's.
#include "nodeinventory/databasedialog.h"

#include "pgcluster.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

/// The progress at which the picture is taken: well into the run, with steps still to go.
constexpr int PictureProgress = 40;
constexpr QSize PictureSize(560, 640);

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    if (argc != 3) {
        std::fprintf(stderr,
                     "usage: node-inventory-database-screenshot STRUCTURE-FOLDER PICTURE\n");
        return 2;
    }
    QString error;
    const std::unique_ptr<MGImport8::Test::PgCluster> cluster = MGImport8::Test::PgCluster::create(
        &error);
    if (!cluster) {
        std::fprintf(stderr, "no PostgreSQL cluster: %s\n", qPrintable(error));
        return 1;
    }

    NodeInventory::DatabaseDialog dialog(QString::fromLocal8Bit(argv[1]));
    dialog.resize(PictureSize);
    dialog.show();
    dialog.findChild<QComboBox *>(u"ServerType"_s)->setCurrentText(u"PostgreSQL"_s);
    dialog.findChild<QComboBox *>(u"ServerName"_s)->setEditText(cluster->tcpServerName());
    QTest::keyClicks(dialog.findChild<QLineEdit *>(u"LoginName"_s),
                     QString::fromLatin1(MGImport8::Test::PgCluster::superUser));
    QTest::keyClicks(dialog.findChild<QLineEdit *>(u"LoginPassword"_s),
                     QString::fromLatin1(MGImport8::Test::PgCluster::superPassword));
    QTest::mouseClick(dialog.findChild<QPushButton *>(u"cmdConnect"_s), Qt::LeftButton);

    const QString picture = QString::fromLocal8Bit(argv[2]);
    bool saved = false;
    auto *progress = dialog.findChild<QProgressBar *>(u"StructureProgress"_s);
    QObject::connect(progress, &QProgressBar::valueChanged, &dialog, [&](int value) {
        if (saved || value < PictureProgress || value >= 100)
            return;
        QApplication::processEvents();
        saved = dialog.grab().save(picture);
    });
    QTest::mouseClick(dialog.findChild<QPushButton *>(u"cmdBuildDatabase"_s), Qt::LeftButton);
    const QString status = dialog.findChild<QLabel *>(u"DatabaseStatus"_s)->text();
    if (!status.startsWith(u"Database monitoring created"_s) || !saved) {
        std::fprintf(stderr, "no picture: %s\n", qPrintable(status));
        return 1;
    }
    std::printf("%s\n", qPrintable(picture));
    return 0;
}

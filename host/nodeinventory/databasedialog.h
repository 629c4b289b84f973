#pragma once

#include <MGImport8/sqladmin.h>

#include <QDialog>
#include <QString>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;

namespace NodeInventory {

/// "Database...": points Node Inventory at a monitoring database on a server. The user picks a
/// server (from discovery and the registered servers), logs in through SQLAdmin, creates the
/// database from the structure file shipped beside the library (BuildDatabase) or brings an
/// existing one up to it (UpdateDatabaseStructure), creates the account the inventory will use
/// (CreateUserID), and then uses the database. Progress comes from UpdateDBStructureProgress, the
/// step from AlteringDatabase; the trace can be read once a run is over.
///
/// Nothing here opens a message box: outcomes go to the `DatabaseStatus` line, so the dialog can
/// be driven by a script or a test as a user drives it.
class DatabaseDialog : public QDialog
{
    Q_OBJECT

public:
    /// `structureFolder` holds MonitoringDatabase.PostgreSQL.xml and MonitoringDatabase.SQLServer.xml.
    explicit DatabaseDialog(const QString &structureFolder, QWidget *parent = nullptr);

    /// The inventory location chosen with "Use Database" (for openInventoryStore); empty until
    /// then.
    QString location() const { return m_location; }
    /// The structure file for the server type chosen.
    QString structureFile() const;

    void findServers();
    bool connectServer();
    bool buildDatabase();
    bool upgradeDatabase();
    void showTrace();
    bool createAccount();
    void useDatabase();

private:
    bool runStructure(bool build);
    void configureAdmin();
    void report(const QString &text);
    void updateButtons();

    QString m_structureFolder;
    QString m_location;
    QString m_runTrace;
    MGImport8::SQLAdmin m_admin;

    QComboBox *m_serverType = nullptr;
    QComboBox *m_serverName = nullptr;
    QCheckBox *m_integrated = nullptr;
    QLineEdit *m_loginName = nullptr;
    QLineEdit *m_loginPassword = nullptr;
    QLineEdit *m_databaseName = nullptr;
    QLabel *m_step = nullptr;
    QProgressBar *m_progress = nullptr;
    QPlainTextEdit *m_trace = nullptr;
    QLineEdit *m_accountName = nullptr;
    QLineEdit *m_accountPassword = nullptr;
    QLabel *m_status = nullptr;
    QPushButton *m_build = nullptr;
    QPushButton *m_upgrade = nullptr;
    QPushButton *m_showTrace = nullptr;
    QPushButton *m_createAccount = nullptr;
    QPushButton *m_use = nullptr;
    bool m_accountReady = false;
};

} // namespace NodeInventory

#include "nodeinventory/databasedialog.h"

#include "nodestore/servernodestore.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace NodeInventory {

namespace {

constexpr auto DefaultDatabase = u"monitoring";

} // namespace

DatabaseDialog::DatabaseDialog(const QString &structureFolder, QWidget *parent)
    : QDialog(parent)
    , m_structureFolder(structureFolder)
{
    setObjectName(u"DatabaseDialog"_s);
    setWindowTitle(u"Monitoring Database"_s);

    auto *serverBox = new QGroupBox(u"Server"_s, this);
    auto *serverForm = new QFormLayout(serverBox);
    m_serverType = new QComboBox(serverBox);
    m_serverType->setObjectName(u"ServerType"_s);
    m_serverType->addItems(
        {MGImport8::SQLAdmin::PostgreSqlType, MGImport8::SQLAdmin::SqlServerType});
    serverForm->addRow(u"Server &type:"_s, m_serverType);
    auto *serverRow = new QHBoxLayout;
    m_serverName = new QComboBox(serverBox);
    m_serverName->setObjectName(u"ServerName"_s);
    m_serverName->setEditable(true);
    m_serverName->setMinimumContentsLength(28);
    auto *find = new QPushButton(u"&Find"_s, serverBox);
    find->setObjectName(u"cmdFindServers"_s);
    serverRow->addWidget(m_serverName, 1);
    serverRow->addWidget(find);
    serverForm->addRow(u"Server:"_s, serverRow);
    m_integrated = new QCheckBox(u"Log in with my own &identity"_s, serverBox);
    m_integrated->setObjectName(u"chkIntegratedSecurity"_s);
    serverForm->addRow(QString(), m_integrated);
    m_loginName = new QLineEdit(serverBox);
    m_loginName->setObjectName(u"LoginName"_s);
    serverForm->addRow(u"&Login:"_s, m_loginName);
    m_loginPassword = new QLineEdit(serverBox);
    m_loginPassword->setObjectName(u"LoginPassword"_s);
    m_loginPassword->setEchoMode(QLineEdit::Password);
    serverForm->addRow(u"&Password:"_s, m_loginPassword);
    auto *connectButton = new QPushButton(u"&Connect"_s, serverBox);
    connectButton->setObjectName(u"cmdConnect"_s);
    serverForm->addRow(QString(), connectButton);

    auto *databaseBox = new QGroupBox(u"Database"_s, this);
    auto *databaseForm = new QFormLayout(databaseBox);
    m_databaseName = new QLineEdit(QString::fromUtf16(DefaultDatabase), databaseBox);
    m_databaseName->setObjectName(u"DatabaseName"_s);
    databaseForm->addRow(u"&Database:"_s, m_databaseName);
    auto *structureRow = new QHBoxLayout;
    m_build = new QPushButton(u"C&reate Database"_s, databaseBox);
    m_build->setObjectName(u"cmdBuildDatabase"_s);
    m_upgrade = new QPushButton(u"&Upgrade Structure"_s, databaseBox);
    m_upgrade->setObjectName(u"cmdUpgradeDatabase"_s);
    m_showTrace = new QPushButton(u"Show &Trace"_s, databaseBox);
    m_showTrace->setObjectName(u"cmdShowTrace"_s);
    structureRow->addWidget(m_build);
    structureRow->addWidget(m_upgrade);
    structureRow->addWidget(m_showTrace);
    databaseForm->addRow(QString(), structureRow);
    m_step = new QLabel(databaseBox);
    m_step->setObjectName(u"StructureStep"_s);
    databaseForm->addRow(u"Step:"_s, m_step);
    m_progress = new QProgressBar(databaseBox);
    m_progress->setObjectName(u"StructureProgress"_s);
    m_progress->setRange(0, 100);
    m_progress->setValue(0);
    databaseForm->addRow(u"Progress:"_s, m_progress);
    m_trace = new QPlainTextEdit(databaseBox);
    m_trace->setObjectName(u"StructureTrace"_s);
    m_trace->setReadOnly(true);
    m_trace->setVisible(false);
    databaseForm->addRow(m_trace);

    auto *accountBox = new QGroupBox(u"The inventory's account"_s, this);
    auto *accountForm = new QFormLayout(accountBox);
    m_accountName = new QLineEdit(u"nodeinventory"_s, accountBox);
    m_accountName->setObjectName(u"AccountName"_s);
    accountForm->addRow(u"&Account:"_s, m_accountName);
    m_accountPassword = new QLineEdit(accountBox);
    m_accountPassword->setObjectName(u"AccountPassword"_s);
    m_accountPassword->setEchoMode(QLineEdit::Password);
    accountForm->addRow(u"Pass&word:"_s, m_accountPassword);
    m_createAccount = new QPushButton(u"Create &Account"_s, accountBox);
    m_createAccount->setObjectName(u"cmdCreateAccount"_s);
    accountForm->addRow(QString(), m_createAccount);

    m_status = new QLabel(this);
    m_status->setObjectName(u"DatabaseStatus"_s);
    m_status->setWordWrap(true);
    m_status->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto *buttons = new QDialogButtonBox(this);
    m_use = buttons->addButton(u"Use &Database"_s, QDialogButtonBox::AcceptRole);
    m_use->setObjectName(u"cmdUseDatabase"_s);
    auto *cancel = buttons->addButton(QDialogButtonBox::Cancel);
    cancel->setObjectName(u"cmdCancel"_s);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(serverBox);
    layout->addWidget(databaseBox);
    layout->addWidget(accountBox);
    layout->addWidget(m_status);
    layout->addWidget(buttons);

    connect(find, &QPushButton::clicked, this, &DatabaseDialog::findServers);
    connect(connectButton, &QPushButton::clicked, this, &DatabaseDialog::connectServer);
    connect(m_build, &QPushButton::clicked, this, &DatabaseDialog::buildDatabase);
    connect(m_upgrade, &QPushButton::clicked, this, &DatabaseDialog::upgradeDatabase);
    connect(m_showTrace, &QPushButton::clicked, this, &DatabaseDialog::showTrace);
    connect(m_createAccount, &QPushButton::clicked, this, &DatabaseDialog::createAccount);
    connect(m_use, &QPushButton::clicked, this, &DatabaseDialog::useDatabase);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_integrated, &QCheckBox::toggled, this, &DatabaseDialog::updateButtons);
    connect(m_serverType, &QComboBox::currentTextChanged, this, [this] {
        m_admin.Disconnect();
        m_accountReady = false;
        updateButtons();
    });
    connect(&m_admin, &MGImport8::SQLAdmin::AlteringDatabase, this,
            [this](const QString &text) { m_step->setText(text); });
    connect(&m_admin, &MGImport8::SQLAdmin::UpdateDBStructureProgress, this,
            [this](int percent) { m_progress->setValue(std::clamp(percent, 0, 100)); });
    updateButtons();
}

QString DatabaseDialog::structureFile() const
{
    return m_structureFolder + u"/MonitoringDatabase."_s + m_serverType->currentText() + u".xml"_s;
}

void DatabaseDialog::report(const QString &text)
{
    m_status->setText(QString(text).replace(u"\r\n"_s, u"\n"_s).trimmed());
}

void DatabaseDialog::updateButtons()
{
    const bool connected = m_admin.Connected();
    m_loginName->setEnabled(!m_integrated->isChecked());
    m_loginPassword->setEnabled(!m_integrated->isChecked());
    m_build->setEnabled(connected);
    m_upgrade->setEnabled(connected);
    m_createAccount->setEnabled(connected);
    m_showTrace->setEnabled(!m_runTrace.isEmpty());
    m_use->setEnabled(connected);
}

void DatabaseDialog::configureAdmin()
{
    m_admin.setServerType(m_serverType->currentText());
    m_admin.setServerName(m_serverName->currentText().trimmed());
    m_admin.setUseIntegratedNTSecurity(m_integrated->isChecked());
    m_admin.setLoginName(m_loginName->text());
    m_admin.setLoginPassword(m_loginPassword->text());
}

void DatabaseDialog::findServers()
{
    m_admin.setServerType(m_serverType->currentText());
    report(u"Looking for servers ..."_s);
    const QString typed = m_serverName->currentText();
    const QStringList servers = m_admin.AvailableServers();
    m_serverName->clear();
    m_serverName->addItems(servers);
    m_serverName->setEditText(typed.isEmpty() && !servers.isEmpty() ? servers.first() : typed);
    report(m_admin.LastError().isEmpty() ? u"%1 servers found."_s.arg(servers.size())
                                         : m_admin.LastError());
}

bool DatabaseDialog::connectServer()
{
    configureAdmin();
    m_accountReady = false;
    const bool connected = m_admin.Connect(false);
    report(connected
               ? u"Connected to %1. %2"_s.arg(m_admin.ServerName(), m_admin.SQlServerVersion())
               : m_admin.LastError());
    updateButtons();
    return connected;
}

bool DatabaseDialog::runStructure(bool build)
{
    const QString database = m_databaseName->text().trimmed();
    const qsizetype start = m_admin.UpdateTrace().size();
    m_progress->setValue(0);
    m_step->clear();
    m_trace->setVisible(false);
    setCursor(Qt::WaitCursor);
    bool done = false;
    if (build) {
        done = m_admin.BuildDatabase(database, m_admin.DefaultDataPath(), structureFile());
    } else if (MGImport8::SQLDatabase *db = m_admin.GetDatabase(database)) {
        done = m_admin.UpdateDatabaseStructure(db, structureFile());
    }
    unsetCursor();
    m_runTrace = m_admin.UpdateTrace().mid(start);
    if (done && m_admin.LastError().isEmpty()) {
        m_progress->setValue(100);
        report(build ? u"Database %1 created from %2."_s.arg(database, structureFile())
                     : u"Database %1 is up to date with %2."_s.arg(database, structureFile()));
    } else {
        report(m_admin.LastError().isEmpty() ? u"The structure of %1 was not brought up to date: "
                                               u"see the trace."_s.arg(database)
                                             : m_admin.LastError());
    }
    updateButtons();
    return done;
}

bool DatabaseDialog::buildDatabase()
{
    return runStructure(true);
}

bool DatabaseDialog::upgradeDatabase()
{
    return runStructure(false);
}

void DatabaseDialog::showTrace()
{
    m_trace->setPlainText(QString(m_runTrace).replace(u"\r\n"_s, u"\n"_s));
    m_trace->setVisible(true);
}

bool DatabaseDialog::createAccount()
{
    const QString database = m_databaseName->text().trimmed();
    const QString account = m_accountName->text().trimmed();
    if (!m_admin.CreateUserID(database, account, m_accountPassword->text())) {
        report(m_admin.LastError());
        return false;
    }
    // The account must be able to read and write the inventory's tables. SQL Server grants that
    // through the database roles CreateUserID gives; a PostgreSQL cluster has no such roles
    // unless someone made them, so the tables are granted to the account directly.
    if (m_admin.ServerType() == MGImport8::SQLAdmin::PostgreSqlType) {
        ServerNodeStore store;
        const QString admin = m_integrated->isChecked() ? QString() : m_loginName->text();
        if (!store.open(ServerNodeStore::locationFor(m_admin.ServerType(), m_admin.ServerName(),
                                                     database, admin, m_loginPassword->text()))
            || !store.grantInventoryRights(account)) {
            report(u"The account %1 was created, but cannot be given the inventory's tables: %2"_s
                       .arg(account, store.lastError()));
            return false;
        }
    }
    m_accountReady = true;
    report(u"The account %1 can now use %2."_s.arg(account, database));
    return true;
}

void DatabaseDialog::useDatabase()
{
    const QString database = m_databaseName->text().trimmed();
    if (m_accountReady) {
        m_location = ServerNodeStore::locationFor(m_admin.ServerType(), m_admin.ServerName(),
                                                  database, m_accountName->text().trimmed(),
                                                  m_accountPassword->text());
    } else {
        m_location = ServerNodeStore::locationFor(m_admin.ServerType(), m_admin.ServerName(),
                                                  database,
                                                  m_integrated->isChecked() ? QString()
                                                                            : m_loginName->text(),
                                                  m_loginPassword->text());
    }
    accept();
}

} // namespace NodeInventory

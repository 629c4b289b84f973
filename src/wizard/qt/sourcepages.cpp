#include "wizard/qt/sourcepages.h"

#include "wizard/delimiterdetect.h"
#include "wizard/qt/methodicons.h"
#include "wizard/qt/popupcombobox.h"
#include "wizard/qt/widgetmirror.h"
#include "wizard/wizardcontroller.h"

#include <MGImport8/importtype.h>

#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QFormLayout>
#include <QFrame>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QStackedWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

/// The delimiter boxes' captions, by index.
const std::array<QString, DelimiterBoxCount> delimiterCaptions = {u"&Tab"_s, u"Se&micolon"_s,
                                                                  u"&Comma"_s, u"&Space"_s,
                                                                  u"&Other:"_s};

QWidget *newPage(Panel panel)
{
    auto *page = new QWidget;
    page->setObjectName(panelKey(panel));
    return page;
}

QLabel *newLabel(const QString &name, QWidget *parent, bool heading = false)
{
    auto *label = new QLabel(parent);
    label->setObjectName(name);
    label->setWordWrap(true);
    if (heading) {
        QFont font = label->font();
        font.setBold(true);
        label->setFont(font);
    }
    return label;
}

/// Enter in the table list chooses the table shown, as a click on it does.
class EnterChooses : public QObject
{
public:
    EnterChooses(QComboBox *list, std::function<void()> choose)
        : QObject(list)
        , m_choose(std::move(choose))
    {
        list->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::KeyPress) {
            const int key = static_cast<QKeyEvent *>(event)->key();
            if (key == Qt::Key_Return || key == Qt::Key_Enter) {
                m_choose();
                return true;
            }
        }
        return QObject::eventFilter(watched, event);
    }

private:
    std::function<void()> m_choose;
};

} // namespace

SourcePages::SourcePages(WizardController &controller, QObject *parent)
    : QObject(parent)
    , m_controller(controller)
{}

void SourcePages::addPages(QStackedWidget *stack)
{
    stack->addWidget(methodPage());
    stack->addWidget(filePage());
    stack->addWidget(databasePage());
    stack->addWidget(tablePage());
    stack->addWidget(spreadsheetPage());
    stack->addWidget(delimiterPage());
}

QWidget *SourcePages::methodPage()
{
    QWidget *page = newPage(Panel::MethodPanel);
    auto *layout = new QVBoxLayout(page);
    m_importDescription = newLabel(u"ImportDescription"_s, page);
    m_methodList = new QListWidget(page);
    m_methodList->setObjectName(u"ImportTypeList"_s);
    m_methodList->setIconSize(QSize(MethodIcons::Size, MethodIcons::Size));
    m_methodList->setSpacing(2);
    m_methodDescription = newLabel(u"ImportTypeDescription"_s, page);
    m_methodDescription->setMinimumHeight(m_methodDescription->fontMetrics().height() * 4);
    m_methodDescription->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    layout->addWidget(m_importDescription);
    layout->addWidget(m_methodList, 1);
    layout->addWidget(m_methodDescription);

    connect(m_methodList, &QListWidget::currentRowChanged, this,
            [this](int row) { m_controller.selectMethodRow(row); });
    connect(m_methodList, &QListWidget::itemDoubleClicked, this, [this](QListWidgetItem *item) {
        m_controller.activateMethodRow(m_methodList->row(item));
    });
    return page;
}

QWidget *SourcePages::filePage()
{
    QWidget *page = newPage(Panel::FilePanel);
    auto *layout = new QVBoxLayout(page);
    m_selectFileTitle = newLabel(u"SelectFileTitle"_s, page, true);
    m_selectFileDescription = newLabel(u"SelectFileDescription"_s, page);
    m_filename = new QLineEdit(page);
    m_filename->setObjectName(u"Filename"_s);
    auto *browse = new QPushButton(u"..."_s, page);
    browse->setObjectName(u"cmdSelectFile"_s);
    auto *row = new QHBoxLayout;
    row->addWidget(m_filename, 1);
    row->addWidget(browse);
    layout->addWidget(m_selectFileTitle);
    layout->addWidget(m_selectFileDescription);
    layout->addLayout(row);
    layout->addStretch(1);

    connect(m_filename, &QLineEdit::textEdited, this,
            [this](const QString &text) { m_controller.setFilename(text); });
    connect(browse, &QPushButton::clicked, this, [this] { m_controller.selectFile(); });
    return page;
}

QWidget *SourcePages::databasePage()
{
    QWidget *page = newPage(Panel::DatabasePanel);
    auto *layout = new QVBoxLayout(page);
    auto *servers = new QFormLayout;
    m_serverName = new PopupComboBox(page);
    m_serverName->setObjectName(u"ServerName"_s);
    m_serverName->setEditable(true);
    m_serverName->setInsertPolicy(QComboBox::NoInsert);
    servers->addRow(u"SQL &Server:"_s, m_serverName);
    layout->addLayout(servers);

    m_ntSecurity = new QRadioButton(u"Logon to SQL Server using Windows NT Integrated Security"_s,
                                    page);
    m_ntSecurity->setObjectName(u"radioNTSecurity"_s);
    m_sqlSecurity = new QRadioButton(u"Logon to SQL Server using a SQL Server userid and password"_s,
                                     page);
    m_sqlSecurity->setObjectName(u"radioSQLSecurity"_s);
    layout->addWidget(m_ntSecurity);
    layout->addWidget(m_sqlSecurity);

    m_loginFrame = new QFrame(page);
    m_loginFrame->setObjectName(u"SQLLoginFrame"_s);
    auto *login = new QFormLayout(m_loginFrame);
    m_loginName = new QLineEdit(m_loginFrame);
    m_loginName->setObjectName(u"LoginName"_s);
    m_loginPassword = new QLineEdit(m_loginFrame);
    m_loginPassword->setObjectName(u"LoginPassword"_s);
    m_loginPassword->setEchoMode(QLineEdit::Password);
    login->addRow(u"Login &name:"_s, m_loginName);
    login->addRow(u"&Password:"_s, m_loginPassword);
    layout->addWidget(m_loginFrame);

    auto *databases = new QFormLayout;
    m_databaseName = new PopupComboBox(page);
    m_databaseName->setObjectName(u"DatabaseName"_s);
    m_databaseName->setEditable(true);
    m_databaseName->setInsertPolicy(QComboBox::NoInsert);
    databases->addRow(u"&Database:"_s, m_databaseName);
    layout->addLayout(databases);
    m_statusMessage = newLabel(u"StatusMessage"_s, page);
    m_statusMessage->hide();
    layout->addWidget(m_statusMessage);
    layout->addStretch(1);

    connect(m_serverName, &PopupComboBox::aboutToShowPopup, this,
            [this] { m_controller.openServerList(); });
    connect(m_serverName, &QComboBox::currentTextChanged, this,
            [this](const QString &text) { m_controller.setServerName(text); });
    connect(m_ntSecurity, &QRadioButton::clicked, this,
            [this] { m_controller.setIntegratedSecurity(true); });
    connect(m_sqlSecurity, &QRadioButton::clicked, this,
            [this] { m_controller.setIntegratedSecurity(false); });
    connect(m_loginName, &QLineEdit::textEdited, this,
            [this](const QString &text) { m_controller.setLoginName(text); });
    connect(m_loginPassword, &QLineEdit::textEdited, this,
            [this](const QString &text) { m_controller.setLoginPassword(text); });
    connect(m_databaseName, &PopupComboBox::aboutToShowPopup, this,
            [this] { m_controller.openDatabaseList(); });
    connect(m_databaseName, &QComboBox::currentTextChanged, this,
            [this](const QString &text) { m_controller.setDatabaseName(text); });
    return page;
}

QWidget *SourcePages::tablePage()
{
    QWidget *page = newPage(Panel::TablePanel);
    auto *layout = new QVBoxLayout(page);
    m_tableDescription = newLabel(u"SelectTableDescription"_s, page);
    m_databaseTable = new QComboBox(page);
    m_databaseTable->setObjectName(u"DatabaseTable"_s);
    layout->addWidget(m_tableDescription);
    layout->addWidget(m_databaseTable);
    layout->addStretch(1);

    connect(m_databaseTable, &QComboBox::activated, this,
            [this](int index) { m_controller.selectTable(m_databaseTable->itemText(index)); });
    new EnterChooses(m_databaseTable,
                     [this] { m_controller.selectTable(m_databaseTable->currentText()); });
    return page;
}

QWidget *SourcePages::spreadsheetPage()
{
    QWidget *page = newPage(Panel::SpreadsheetPanel);
    auto *layout = new QVBoxLayout(page);
    m_worksheetDescription = newLabel(u"WorksheetDescription"_s, page);
    m_worksheet = new QComboBox(page);
    m_worksheet->setObjectName(u"Worksheet"_s);
    layout->addWidget(m_worksheetDescription);
    layout->addWidget(m_worksheet);
    layout->addStretch(1);

    connect(m_worksheet, &QComboBox::activated, this,
            [this](int index) { m_controller.selectWorksheet(index); });
    return page;
}

QWidget *SourcePages::delimiterPage()
{
    QWidget *page = newPage(Panel::DelimiterPanel);
    auto *layout = new QVBoxLayout(page);
    auto *heading = newLabel(u"DelimiterDescription"_s, page, true);
    heading->setText(u"Select column delimiters"_s);
    layout->addWidget(heading);
    auto *boxes = new QHBoxLayout;
    for (int index = 0; index < DelimiterBoxCount; ++index) {
        auto *box = new QCheckBox(delimiterCaptions.at(index), page);
        box->setObjectName(u"chkDelimit_"_s + QString::number(index));
        boxes->addWidget(box);
        m_delimiters.at(index) = box;
        connect(box, &QCheckBox::clicked, this,
                [this, index](bool checked) { m_controller.setDelimiterChecked(index, checked); });
    }
    m_otherDelimiter = new QLineEdit(page);
    m_otherDelimiter->setObjectName(u"txtOtherDelimit"_s);
    m_otherDelimiter->setMaximumWidth(m_otherDelimiter->fontMetrics().horizontalAdvance(u'M') * 6);
    m_otherDelimiter->setAccessibleName(tr("Other delimiters"));
    boxes->addWidget(m_otherDelimiter);
    boxes->addStretch(1);
    layout->addLayout(boxes);
    auto *detect = new QPushButton(tr("&Detect delimiters"), page);
    detect->setObjectName(u"cmdDetectDelimiters"_s);
    detect->setAutoDefault(false); // Return always means Next
    detect->setAccessibleName(tr("Detect delimiters"));
    detect->setToolTip(tr("Tick the delimiter that splits the first %1 lines into the most "
                          "consistent number of fields")
                           .arg(DelimiterDetect::SampleLines));
    auto *detectRow = new QHBoxLayout;
    detectRow->addWidget(detect);
    detectRow->addStretch(1);
    layout->addLayout(detectRow);
    connect(detect, &QPushButton::clicked, this, [this] {
        const ImportType *method = m_controller.chosenMethod();
        if (!method)
            return;
        if (const auto box = DelimiterDetect::bestBoxForFile(method->Filename()))
            m_controller.setDelimiters(DelimiterDetect::boxesFor(*box),
                                       m_controller.state().otherDelimiter);
    });

    connect(m_otherDelimiter, &QLineEdit::textEdited, this,
            [this](const QString &text) { m_controller.setOtherDelimiter(text); });
    return page;
}

void SourcePages::show(const WizardState &state)
{
    using namespace WidgetMirror;
    setText(m_importDescription, state.importDescription);
    showMethods(state);
    setText(m_methodDescription, state.importTypeDescription);

    setText(m_selectFileTitle, state.selectFileTitle);
    setText(m_selectFileDescription, state.selectFileDescription);
    setText(m_filename, state.filename);

    showDatabase(state);

    setText(m_tableDescription, state.selectTableDescription);
    setItems(m_databaseTable, state.databaseTables);
    setCurrentIndex(m_databaseTable, int(state.databaseTables.indexOf(state.databaseTable)));

    setText(m_worksheetDescription, state.worksheetDescription);
    setItems(m_worksheet, state.worksheets);
    setCurrentIndex(m_worksheet, state.currentWorksheet);

    for (int index = 0; index < DelimiterBoxCount; ++index)
        setChecked(m_delimiters.at(index), state.delimiterChecked.at(index));
    setText(m_otherDelimiter, state.otherDelimiter);
}

void SourcePages::showMethods(const WizardState &state)
{
    const bool same = state.methods.size() == m_shownMethods.size()
                      && std::equal(state.methods.cbegin(), state.methods.cend(),
                                    m_shownMethods.cbegin(),
                                    [](const MethodListRow &a, const MethodListRow &b) {
                                        return a.name == b.name && a.icon == b.icon
                                               && a.enabled == b.enabled;
                                    });
    const QSignalBlocker quiet(m_methodList);
    if (!same) {
        m_shownMethods = state.methods;
        m_methodList->clear();
        for (const MethodListRow &method : state.methods) {
            auto *item = new QListWidgetItem(MethodIcons::icon(method.icon), method.name);
            if (!method.enabled) {
                // Disabled methods stay selectable; Next refuses them with a message.
                item->setForeground(
                    m_methodList->palette().brush(QPalette::Disabled, QPalette::Text));
                QFont font = item->font();
                font.setItalic(true);
                item->setFont(font);
            }
            m_methodList->addItem(item);
        }
        // Said once so that the view knows its current row was chosen: otherwise the first
        // focus-in (the window opening) would make the first method current on its own.
        m_methodList->setCurrentIndex(QModelIndex());
    }
    if (m_methodList->currentRow() != state.currentMethodRow)
        m_methodList->setCurrentRow(state.currentMethodRow);
}

void SourcePages::showDatabase(const WizardState &state)
{
    using namespace WidgetMirror;
    setItems(m_serverName, state.servers);
    setEditText(m_serverName, state.serverName);
    setChecked(m_ntSecurity, state.integratedSecurity);
    setChecked(m_sqlSecurity, !state.integratedSecurity);
    m_loginFrame->setEnabled(!state.integratedSecurity);
    setText(m_loginName, state.loginName);
    setText(m_loginPassword, state.loginPassword);
    setItems(m_databaseName, state.databases);
    setEditText(m_databaseName, state.databaseName);
    setText(m_statusMessage, state.statusMessage);
    m_statusMessage->setVisible(!state.statusMessage.isEmpty());
}

} // namespace MGImport8

#pragma once

#include "wizard/wizardstate.h"

#include <QObject>
#include <QString>

#include <array>

class QCheckBox;
class QComboBox;
class QFrame;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QRadioButton;
class QStackedWidget;
class QWidget;

namespace MGImport8 {

class PopupComboBox;
class WizardController;

/// The panels that choose the source: method, file, database, table, worksheet and delimiters.
/// Each is a page named by its panel key; the controls carry their names in the system. Pages
/// show the wizard's state and hand every user action to the wizard.
class SourcePages : public QObject
{
    Q_OBJECT

public:
    SourcePages(WizardController &controller, QObject *parent = nullptr);

    /// Adds the six pages to `stack`, in panel order.
    void addPages(QStackedWidget *stack);
    void show(const WizardState &state);

private:
    QWidget *methodPage();
    QWidget *filePage();
    QWidget *databasePage();
    QWidget *tablePage();
    QWidget *spreadsheetPage();
    QWidget *delimiterPage();
    void showMethods(const WizardState &state);
    void showDatabase(const WizardState &state);

    WizardController &m_controller;

    QLabel *m_importDescription = nullptr;
    QListWidget *m_methodList = nullptr;
    QLabel *m_methodDescription = nullptr;
    QList<MethodListRow> m_shownMethods;

    QLabel *m_selectFileTitle = nullptr;
    QLabel *m_selectFileDescription = nullptr;
    QLineEdit *m_filename = nullptr;

    PopupComboBox *m_serverName = nullptr;
    QRadioButton *m_ntSecurity = nullptr;
    QRadioButton *m_sqlSecurity = nullptr;
    QFrame *m_loginFrame = nullptr;
    QLineEdit *m_loginName = nullptr;
    QLineEdit *m_loginPassword = nullptr;
    PopupComboBox *m_databaseName = nullptr;
    QLabel *m_statusMessage = nullptr;

    QLabel *m_tableDescription = nullptr;
    QComboBox *m_databaseTable = nullptr;

    QLabel *m_worksheetDescription = nullptr;
    QComboBox *m_worksheet = nullptr;

    std::array<QCheckBox *, DelimiterBoxCount> m_delimiters{};
    QLineEdit *m_otherDelimiter = nullptr;
};

} // namespace MGImport8

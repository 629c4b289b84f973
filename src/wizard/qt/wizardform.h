#pragma once

#include "wizard/wizardview.h"

#include <QDialog>
#include <QElapsedTimer>

#include <memory>

class QLabel;
class QPushButton;
class QStackedWidget;

namespace MGImport8 {

class Engine;
class GridPages;
class ImportGridModel;
class ImportTableView;
class SourcePages;
class WizardController;

/// The Import Wizard window: a dialog with one page per panel (a stack named "Wizard"), the
/// working grid under the pages, and the Back, Next and Cancel buttons. It holds no wizard logic:
/// it shows what the controller publishes and hands it every user action; message boxes, the file
/// dialog, the wait cursor and yielding are its side of `WizardView`.
class WizardForm : public QDialog, public WizardView
{
    Q_OBJECT

public:
    explicit WizardForm(Engine &engine, QWidget *parent = nullptr);
    ~WizardForm() override;

    /// Opens the wizard on the method panel, shows it modally and returns what `StartWizard`
    /// returns: true unless an import ran to its end.
    bool run();

    WizardController &controller() { return *m_controller; }

    // WizardView
    void showMessage(const QString &text, MessageIcon icon, const QString &title) override;
    std::optional<QString> chooseFile(const QString &title, const QString &pattern) override;
    void setBusy(bool busy) override;
    void yield() override;
    void stateChanged(const WizardState &state) override;
    void close() override;

public Q_SLOTS:
    /// Escape and the window's close button act as Cancel.
    void reject() override;

private:
    void buildWindow(Engine &engine);

    std::unique_ptr<WizardController> m_controller;
    QLabel *m_title = nullptr;
    QStackedWidget *m_pages = nullptr;
    SourcePages *m_sourcePages = nullptr;
    GridPages *m_gridPages = nullptr;
    ImportGridModel *m_gridModel = nullptr;
    ImportTableView *m_table = nullptr;
    QPushButton *m_back = nullptr;
    QPushButton *m_next = nullptr;
    QPushButton *m_cancel = nullptr;
    QElapsedTimer m_sinceYield;
    bool m_busy = false;
    bool m_closing = false;
};

} // namespace MGImport8

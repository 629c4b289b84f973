#pragma once

#include "wizard/wizardstate.h"

#include <QObject>

class QLabel;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class QTableWidget;
class QWidget;

namespace MGImport8 {

class WizardController;

/// The panels that work on the filled grid: mapping, filter, row selection, options and the
/// import itself. The grid (`ImportTable`) is not on these pages: the form shows it under them.
class GridPages : public QObject
{
    Q_OBJECT

public:
    GridPages(WizardController &controller, QObject *parent = nullptr);

    /// Adds the five pages to `stack`, in panel order.
    void addPages(QStackedWidget *stack);
    void show(const WizardState &state);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

Q_SIGNALS:
    /// Something the user asked for failed; the text is for a message box.
    void failed(const QString &text);

private:
    QWidget *mapPage();
    QWidget *filterPage();
    QWidget *previewPage();
    QWidget *optionsPage();
    QWidget *importPage();
    void showOptions(const WizardState &state);
    void showSkippedRows(const WizardState &state);
    void matchNames();
    void saveSkippedRows();

    WizardController &m_controller;
    QTableWidget *m_options = nullptr;
    QList<OptionListRow> m_shownOptions;
    QProgressBar *m_progress = nullptr;
    QLabel *m_importStatus = nullptr;
    QTableWidget *m_skippedRows = nullptr;
    QPushButton *m_saveSkipped = nullptr;
    qsizetype m_shownSkipped = 0;
};

} // namespace MGImport8

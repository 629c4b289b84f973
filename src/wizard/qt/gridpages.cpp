#include "wizard/qt/gridpages.h"

#include "wizard/delimiterchoice.h"
#include "wizard/headermatch.h"
#include "wizard/qt/widgetmirror.h"
#include "wizard/skippedrows.h"
#include "wizard/wizardcontroller.h"

#include <MGImport8/engine.h>
#include <MGImport8/importtype.h>

#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTableWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

/// The import reports progress from 0 to 100.
constexpr int ProgressMaximum = 100;
/// The options list's check column is as wide as this text.
const QString checkColumnSample = u"XXX"_s;

QWidget *newPage(Panel panel, const QString &description, const QString &descriptionName)
{
    auto *page = new QWidget;
    page->setObjectName(panelKey(panel));
    auto *layout = new QVBoxLayout(page);
    auto *label = new QLabel(description, page);
    label->setObjectName(descriptionName);
    label->setWordWrap(true);
    layout->addWidget(label);
    return page;
}

QPushButton *newButton(const QString &caption, const QString &name, QWidget *parent)
{
    auto *button = new QPushButton(caption, parent);
    button->setObjectName(name);
    button->setAccessibleName(QString(caption).remove(u'&'));
    // Return always means Next; the space bar presses the button in focus.
    button->setAutoDefault(false);
    return button;
}

/// Skipped rows listed one by one; a host that skips millions gets a count for the rest.
constexpr qsizetype SkippedRowsListed = 10000;
/// The skipped-rows list's columns.
enum SkippedColumn { LineColumn, StatusColumn, SkippedColumnCount };

} // namespace

GridPages::GridPages(WizardController &controller, QObject *parent)
    : QObject(parent)
    , m_controller(controller)
{}

void GridPages::addPages(QStackedWidget *stack)
{
    stack->addWidget(mapPage());
    stack->addWidget(filterPage());
    stack->addWidget(previewPage());
    stack->addWidget(optionsPage());
    stack->addWidget(importPage());
}

QWidget *GridPages::mapPage()
{
    QWidget *page = newPage(Panel::MapPanel,
                            u"Choose, in the grey top row, the field that each column holds. "
                            u"Columns left at <ignore> are not imported."_s,
                            u"MapDescription"_s);
    QPushButton *match = newButton(tr("&Match names from the first line"), u"cmdMatchNames"_s, page);
    match->setToolTip(tr("Bind each column whose text in the first line names a field"));
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(match);
    buttons->addStretch(1);
    auto *layout = static_cast<QBoxLayout *>(page->layout());
    layout->addLayout(buttons);
    layout->addStretch(1);
    connect(match, &QPushButton::clicked, this, &GridPages::matchNames);
    return page;
}

QWidget *GridPages::filterPage()
{
    QWidget *page = newPage(Panel::FilterPanel, u"Filter the Import rows"_s, u"FilterDescription"_s);
    auto *layout = static_cast<QBoxLayout *>(page->layout());
    auto *note = new QLabel(u"Filters can be applied to each column."_s, page);
    note->setObjectName(u"FilterNote"_s);
    auto *filters = new QTableWidget(page);
    filters->setObjectName(u"FilterTable"_s);
    layout->addWidget(note);
    layout->addWidget(filters, 1);
    return page;
}

QWidget *GridPages::previewPage()
{
    QWidget *page = newPage(Panel::PreviewPanel,
                            u"Tick the rows to import. Click a tick box, or select rows and "
                            u"press the space bar, to change them."_s,
                            u"PreviewDescription"_s);
    auto *buttons = new QHBoxLayout;
    QPushButton *all = newButton(u"Check &All"_s, u"cmdCheckAll"_s, page);
    QPushButton *none = newButton(u"&Uncheck All"_s, u"cmdUnCheckAll"_s, page);
    QPushButton *toggle = newButton(u"&Toggle"_s, u"cmdToggle"_s, page);
    buttons->addWidget(all);
    buttons->addWidget(none);
    buttons->addWidget(toggle);
    buttons->addStretch(1);
    static_cast<QBoxLayout *>(page->layout())->addLayout(buttons);

    connect(all, &QPushButton::clicked, this, [this] { m_controller.checkAll(); });
    connect(none, &QPushButton::clicked, this, [this] { m_controller.uncheckAll(); });
    connect(toggle, &QPushButton::clicked, this, [this] { m_controller.toggle(); });
    return page;
}

QWidget *GridPages::optionsPage()
{
    QWidget *page = newPage(Panel::OptionsPanel, u"Choose how the Nodes are imported."_s,
                            u"OptionsDescription"_s);
    m_options = new QTableWidget(0, 2, page);
    m_options->setObjectName(u"OptionsList"_s);
    m_options->horizontalHeader()->hide();
    m_options->verticalHeader()->hide();
    m_options->setShowGrid(false);
    m_options->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_options->setSelectionMode(QAbstractItemView::NoSelection);
    m_options->setColumnWidth(0, m_options->fontMetrics().horizontalAdvance(checkColumnSample));
    m_options->horizontalHeader()->setStretchLastSection(true);
    static_cast<QBoxLayout *>(page->layout())->addWidget(m_options, 1);

    connect(m_options, &QTableWidget::cellClicked, this,
            [this](int row) { m_controller.optionClicked(row); });
    // The space bar ticks the option in focus, as a click does.
    m_options->installEventFilter(this);
    return page;
}

QWidget *GridPages::importPage()
{
    QWidget *page = newPage(Panel::ImportPanel, u"Importing the selected rows."_s,
                            u"ImportRunDescription"_s);
    m_progress = new QProgressBar(page);
    m_progress->setObjectName(u"ImportProgress"_s);
    m_progress->setRange(0, ProgressMaximum);
    m_importStatus = new QLabel(page);
    m_importStatus->setObjectName(u"ImportStatus"_s);
    m_importStatus->setWordWrap(true);
    m_importStatus->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    m_progress->setAccessibleName(tr("Import progress"));
    m_importStatus->setAccessibleName(tr("Import status"));

    m_skippedRows = new QTableWidget(0, SkippedColumnCount, page);
    m_skippedRows->setObjectName(u"SkippedRows"_s);
    m_skippedRows->setAccessibleName(tr("Skipped rows"));
    m_skippedRows->setHorizontalHeaderLabels({tr("Line"), tr("Status")});
    m_skippedRows->verticalHeader()->hide();
    m_skippedRows->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_skippedRows->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_skippedRows->horizontalHeader()->setStretchLastSection(true);
    m_skippedRows->hide();
    m_saveSkipped = newButton(tr("&Save skipped rows..."), u"cmdSaveSkipped"_s, page);
    m_saveSkipped->hide();

    auto *layout = static_cast<QBoxLayout *>(page->layout());
    layout->addWidget(m_progress);
    layout->addWidget(m_importStatus);
    layout->addWidget(m_skippedRows, 1);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_saveSkipped);
    buttons->addStretch(1);
    layout->addLayout(buttons);
    connect(m_saveSkipped, &QPushButton::clicked, this, &GridPages::saveSkippedRows);
    return page;
}

bool GridPages::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_options && event->type() == QEvent::KeyPress
        && static_cast<QKeyEvent *>(event)->key() == Qt::Key_Space
        && m_options->currentRow() >= 0) {
        m_controller.optionClicked(m_options->currentRow());
        return true;
    }
    return QObject::eventFilter(watched, event);
}

void GridPages::matchNames()
{
    const QList<HeaderMatch::Binding> bindings
        = HeaderMatch::fromFirstLine(m_controller.grid(), m_controller.engine().Columns());
    // Each binding as the user's own pick, so the cell takes the colour a pick gives it.
    for (const HeaderMatch::Binding &binding : bindings)
        m_controller.afterEdit(0, binding.column, binding.target);
}

void GridPages::saveSkippedRows()
{
    const WizardState &state = m_controller.state();
    const ImportType *method = m_controller.chosenMethod();
    const bool text = method && method->Method().compare(u"ImportText"_s, Qt::CaseInsensitive) == 0;
    const QFileInfo source(method ? method->Filename() : QString());
    const QString suggested = source.absoluteDir().filePath(
        source.completeBaseName() + tr("-skipped.") + (text ? source.suffix() : u"csv"_s));

    QFileDialog dialog(m_skippedRows->window(), tr("Save skipped rows"), suggested);
    dialog.setObjectName(u"SaveSkippedDialog"_s);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.selectFile(suggested);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return;
    const QChar delimiter = text ? SkippedRows::delimiterOf(DelimiterChoice::delimiterSet(state))
                                 : QChar(SkippedRows::DefaultDelimiter);
    const QString problem = SkippedRows::write(dialog.selectedFiles().constFirst(),
                                               m_controller.grid(), state.skippedRows, delimiter);
    if (!problem.isEmpty())
        Q_EMIT failed(problem);
}

void GridPages::showSkippedRows(const WizardState &state)
{
    const qsizetype count = state.skippedRows.size();
    if (count == m_shownSkipped)
        return;
    if (count < m_shownSkipped) {
        m_skippedRows->setRowCount(0);
        m_shownSkipped = 0;
    }
    const qsizetype listed = std::min<qsizetype>(count, SkippedRowsListed);
    m_skippedRows->setRowCount(int(listed) + (count > listed ? 1 : 0));
    if (count > listed) {
        // The rest are counted, not listed; saving writes every one of them.
        auto *more = new QTableWidgetItem(
            tr("... and %1 more, all written by Save").arg(count - listed));
        m_skippedRows->setItem(int(listed), StatusColumn, more);
    }
    for (qsizetype at = m_shownSkipped; at < listed; ++at) {
        const SkippedRow &skipped = state.skippedRows.at(at);
        auto *line = new QTableWidgetItem;
        line->setData(Qt::DisplayRole, qlonglong(skipped.row));
        line->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
        m_skippedRows->setItem(int(at), LineColumn, line);
        m_skippedRows->setItem(int(at), StatusColumn, new QTableWidgetItem(skipped.status));
    }
    m_shownSkipped = count;
    m_skippedRows->setVisible(count > 0);
    m_saveSkipped->setVisible(count > 0);
}

void GridPages::show(const WizardState &state)
{
    showOptions(state);
    if (m_progress->value() != state.progress)
        m_progress->setValue(state.progress);
    WidgetMirror::setText(m_importStatus, state.importStatus);
    showSkippedRows(state);
}

void GridPages::showOptions(const WizardState &state)
{
    const bool same = state.options.size() == m_shownOptions.size()
                      && std::equal(state.options.cbegin(), state.options.cend(),
                                    m_shownOptions.cbegin(),
                                    [](const OptionListRow &a, const OptionListRow &b) {
                                        return a.check == b.check && a.caption == b.caption;
                                    });
    if (same)
        return;
    m_shownOptions = state.options;
    m_options->setRowCount(int(state.options.size()));
    for (int row = 0; row < state.options.size(); ++row) {
        const OptionListRow &option = state.options.at(row);
        auto *check = new QTableWidgetItem;
        // The wizard flips the option on the click; the box itself only shows it.
        check->setFlags(Qt::ItemIsEnabled);
        check->setCheckState(option.check == CheckState::Checked ? Qt::Checked : Qt::Unchecked);
        m_options->setItem(row, 0, check);
        auto *caption = new QTableWidgetItem(option.caption);
        caption->setFlags(Qt::ItemIsEnabled);
        m_options->setItem(row, 1, caption);
    }
}

} // namespace MGImport8

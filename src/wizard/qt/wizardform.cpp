#include "wizard/qt/wizardform.h"

#include "wizard/legacyfilefilter.h"
#include "wizard/qt/gridpages.h"
#include "wizard/qt/importgridmodel.h"
#include "wizard/qt/importtableview.h"
#include "wizard/qt/mappingdelegate.h"
#include "wizard/qt/pinnedrowview.h"
#include "wizard/qt/sourcepages.h"
#include "wizard/qt/widgetmirror.h"
#include "wizard/qt/wizardmessagebox.h"
#include "wizard/wizardcontroller.h"

#include <MGImport8/engine.h>

#include <QAbstractButton>
#include <QApplication>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHash>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

/// What a screen reader calls the controls that have no caption of their own.
const QHash<QString, QString> &spokenNames()
{
    static const QHash<QString, QString> names{
        {u"ImportTypeList"_s, u"Import methods"_s}, {u"Filename"_s, u"File name"_s},
        {u"cmdSelectFile"_s, u"Choose the file"_s}, {u"ServerName"_s, u"Server"_s},
        {u"LoginName"_s, u"Login name"_s},          {u"LoginPassword"_s, u"Password"_s},
        {u"DatabaseName"_s, u"Database"_s},         {u"DatabaseTable"_s, u"Table"_s},
        {u"Worksheet"_s, u"Worksheet"_s},           {u"txtOtherDelimit"_s, u"Other delimiters"_s},
        {u"OptionsList"_s, u"Import options"_s},    {u"FilterTable"_s, u"Filters"_s},
        {u"Wizard"_s, u"Wizard panels"_s},
    };
    return names;
}

/// Gives every named control an accessible name: its caption, a spoken name, or its own name.
void nameForScreenReaders(QWidget &window)
{
    const QList<QWidget *> widgets = window.findChildren<QWidget *>();
    for (QWidget *widget : widgets) {
        const QString name = widget->objectName();
        if (name.isEmpty() || name.startsWith(u"qt_"_s) || !widget->accessibleName().isEmpty())
            continue;
        const auto *button = qobject_cast<QAbstractButton *>(widget);
        if (const auto spoken = spokenNames().constFind(name); spoken != spokenNames().cend())
            widget->setAccessibleName(*spoken);
        else if (button && !button->text().isEmpty())
            widget->setAccessibleName(QString(button->text()).remove(u'&'));
        else if (!qobject_cast<QLabel *>(widget)) // a label is read by its text, which changes
            widget->setAccessibleName(name);
    }
}

/// The window's size when it opens, in pixels.
constexpr QSize InitialSize(760, 560);
/// The longest a step runs without a pass of the event loop, in milliseconds.
constexpr qint64 YieldIntervalMs = 20;
/// How much larger than the text the title label is.
constexpr double TitleScale = 1.4;

QMessageBox::Icon boxIcon(MessageIcon icon)
{
    switch (icon) {
    case MessageIcon::None:
        return QMessageBox::NoIcon;
    case MessageIcon::Exclamation:
        return QMessageBox::Warning;
    case MessageIcon::Critical:
        return QMessageBox::Critical;
    case MessageIcon::Information:
        return QMessageBox::Information;
    case MessageIcon::Question:
        return QMessageBox::Question;
    }
    return QMessageBox::NoIcon;
}

QPushButton *newButton(const QString &caption, const QString &name, QWidget *parent)
{
    auto *button = new QPushButton(caption, parent);
    button->setObjectName(name);
    button->setAutoDefault(false);
    return button;
}

} // namespace

WizardForm::WizardForm(Engine &engine, QWidget *parent)
    : QDialog(parent)
{
    setObjectName(u"WizardForm"_s);
    m_controller = std::make_unique<WizardController>(engine, *this);
    buildWindow(engine);
    nameForScreenReaders(*this);
}

WizardForm::~WizardForm()
{
    if (m_busy)
        QApplication::restoreOverrideCursor();
    // Everything that calls the controller or watches its grid goes before the controller does.
    delete m_table;
    delete m_gridModel;
    delete m_pages;
    delete m_sourcePages;
    delete m_gridPages;
}

void WizardForm::buildWindow(Engine &engine)
{
    setWindowTitle(engine.Title());
    setSizeGripEnabled(true);
    resize(InitialSize);

    auto *layout = new QVBoxLayout(this);
    m_title = new QLabel(this);
    m_title->setObjectName(u"Title"_s);
    QFont titleFont = m_title->font();
    titleFont.setBold(true);
    titleFont.setPointSizeF(titleFont.pointSizeF() * TitleScale);
    m_title->setFont(titleFont);
    layout->addWidget(m_title);

    m_pages = new QStackedWidget(this);
    m_pages->setObjectName(u"Wizard"_s);
    m_sourcePages = new SourcePages(*m_controller, this);
    m_gridPages = new GridPages(*m_controller, this);
    m_sourcePages->addPages(m_pages);
    m_gridPages->addPages(m_pages);
    connect(m_gridPages, &GridPages::failed, this,
            [this](const QString &text) { showMessage(text, MessageIcon::Critical, {}); });
    layout->addWidget(m_pages, 1);

    m_gridModel = new ImportGridModel(m_controller->grid(), this);
    m_table = new ImportTableView(this);
    m_table->setItemDelegate(new MappingDelegate(*m_controller, m_table));
    // A delegate serves one view: its commit and close signals go to every view it is set on.
    m_table->pinnedRow()->setItemDelegate(new MappingDelegate(*m_controller, m_table->pinnedRow()));
    m_table->setGridModel(m_gridModel);
    m_table->setSelectionColors(quint32(engine.ForeColorSel()), quint32(engine.BackColorSel()));
    m_table->hide();
    layout->addWidget(m_table, 0);
    connect(m_table, &ImportTableView::cellClicked, this,
            [this](qsizetype row, int column) { m_controller->gridClicked(row, column); });
    connect(m_table, &ImportTableView::characterTyped, this,
            [this](int code) { m_controller->gridKeyPressed(code); });
    connect(m_table, &ImportTableView::rowRangeSelected, this,
            [this](qsizetype first, qsizetype last) {
                m_controller->grid().setSelection(first, last);
            });

    auto *buttons = new QHBoxLayout;
    m_back = newButton(u"<-- Back"_s, u"cmdBack"_s, this);
    m_next = newButton(u"Next -->"_s, u"cmdNext"_s, this);
    m_cancel = newButton(u"Cancel"_s, u"cmdCancel"_s, this);
    m_next->setDefault(true);
    buttons->addStretch(1);
    buttons->addWidget(m_back);
    buttons->addWidget(m_next);
    buttons->addWidget(m_cancel);
    layout->addLayout(buttons);
    connect(m_back, &QPushButton::clicked, this, [this] { m_controller->back(); });
    connect(m_next, &QPushButton::clicked, this, [this] { m_controller->next(); });
    connect(m_cancel, &QPushButton::clicked, this, [this] { m_controller->cancel(); });
}

bool WizardForm::run()
{
    m_closing = false;
    m_controller->start();
    if (!m_closing)
        exec();
    return m_controller->result();
}

void WizardForm::showMessage(const QString &text, MessageIcon icon, const QString &title)
{
    WizardMessageBox box(boxIcon(icon),
                         title.isEmpty() ? QGuiApplication::applicationDisplayName() : title, text,
                         isVisible() ? this : parentWidget());
    // The box waits for the user even while the hourglass is up.
    if (m_busy)
        QApplication::setOverrideCursor(Qt::ArrowCursor);
    box.exec();
    if (m_busy)
        QApplication::restoreOverrideCursor();
}

std::optional<QString> WizardForm::chooseFile(const QString &title, const QString &pattern)
{
    QFileDialog dialog(this, title);
    dialog.setObjectName(u"SelectFileDialog"_s);
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setFileMode(QFileDialog::ExistingFile);
    dialog.setOption(QFileDialog::ReadOnly);
    dialog.setNameFilter(qtFileFilter(pattern));
    if (m_busy)
        QApplication::setOverrideCursor(Qt::ArrowCursor);
    const int answer = dialog.exec();
    if (m_busy)
        QApplication::restoreOverrideCursor();
    const QStringList chosen = dialog.selectedFiles();
    if (answer != QDialog::Accepted || chosen.isEmpty())
        return std::nullopt;
    return chosen.constFirst();
}

void WizardForm::setBusy(bool busy)
{
    if (busy == m_busy)
        return;
    m_busy = busy;
    if (busy)
        QApplication::setOverrideCursor(Qt::WaitCursor);
    else
        QApplication::restoreOverrideCursor();
}

void WizardForm::yield()
{
    // Repaints the window and takes clicks (Cancel) between rows of a long import. A pass of the
    // event loop costs far more than a row, so it runs a few dozen times a second: often enough
    // for the eye and for Cancel to stop the loop before the user notices.
    if (m_sinceYield.isValid() && m_sinceYield.elapsed() < YieldIntervalMs)
        return;
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    m_sinceYield.start();
}

void WizardForm::stateChanged(const WizardState &state)
{
    WidgetMirror::setText(m_title, state.title);
    m_pages->setCurrentIndex(int(state.currentPanel));
    m_sourcePages->show(state);
    m_gridPages->show(state);

    if (m_table->isVisibleTo(this) != state.importTableVisible)
        m_table->setVisible(state.importTableVisible);
    // The grid takes the room when it is shown; the page keeps what its own controls need (the
    // stack alone would ask for the room of its largest page).
    auto *layout = static_cast<QVBoxLayout *>(this->layout());
    layout->setStretchFactor(m_pages, state.importTableVisible ? 0 : 1);
    layout->setStretchFactor(m_table, state.importTableVisible ? 1 : 0);
    m_pages->setMaximumHeight(state.importTableVisible && m_pages->currentWidget()
                                  ? m_pages->currentWidget()->sizeHint().height()
                                  : QWIDGETSIZE_MAX);
    if (state.importTableVisible)
        m_table->showGridSelection();
    m_table->setEditTriggers(state.mappingMode ? QAbstractItemView::DoubleClicked
                                                     | QAbstractItemView::SelectedClicked
                                                     | QAbstractItemView::EditKeyPressed
                                               : QAbstractItemView::NoEditTriggers);

    WidgetMirror::setText(m_next, state.nextCaption);
    m_next->setVisible(state.nextVisible);
    m_back->setEnabled(state.backEnabled);
    m_back->setVisible(state.backVisible);
    WidgetMirror::setText(m_cancel, state.cancelCaption);
}

void WizardForm::close()
{
    m_closing = true;
    QDialog::done(QDialog::Rejected);
}

void WizardForm::reject()
{
    m_controller->cancel();
}

} // namespace MGImport8

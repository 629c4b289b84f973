#include <MGImport8/engine.h>

#include "engine/libraryaccess.h"
#include "engine/wizardlauncher.h"

#include <QStringBuilder>

#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {
WizardLauncher g_launcher = nullptr;

// 0x00BBGGRR, as the host family stores colours.
constexpr int DefaultForeColorSel = 0xFF0000; // blue
constexpr int DefaultBackColorSel = 0xFFC8C8; // light blue
} // namespace

void setWizardLauncher(WizardLauncher launcher)
{
    g_launcher = launcher;
}

WizardLauncher wizardLauncher()
{
    return g_launcher;
}

struct Engine::Private
{
    QString title = u"Import Wizard"_s;
    QString description
        = u"This Import Wizard will assist you in importing Nodes. You can import Nodes from a "
          "text file, Excel spreadsheet, Trellisview database, Quellscan discovery database, or "
          "other databases."_s;
    QString requiredColumns;
    QString columns;
    QString ipColumn;
    int foreColorSel = DefaultForeColorSel;
    int backColorSel = DefaultBackColorSel;
    MGImport8::ImportOptions *options = nullptr;
    // Set by StopImport while a NewRow handler runs; the import run takes it after the handler.
    bool inHandler = false;
    std::optional<QString> stopReason;
};

Engine::Engine(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>())
{
    d->options = new MGImport8::ImportOptions(this);
}

Engine::~Engine() = default;

QString Engine::Title() const
{
    return d->title;
}
void Engine::setTitle(const QString &Title)
{
    d->title = Title;
}
QString Engine::Description() const
{
    return d->description;
}
void Engine::setDescription(const QString &Description)
{
    d->description = Description;
}
int Engine::ForeColorSel() const
{
    return d->foreColorSel;
}
void Engine::setForeColorSel(int ForeColorSel)
{
    d->foreColorSel = ForeColorSel;
}
int Engine::BackColorSel() const
{
    return d->backColorSel;
}
void Engine::setBackColorSel(int BackColorSel)
{
    d->backColorSel = BackColorSel;
}
QString Engine::RequiredColumns() const
{
    return d->requiredColumns;
}
void Engine::setRequiredColumns(const QString &RequiredColumns)
{
    d->requiredColumns = RequiredColumns;
}
QString Engine::Columns() const
{
    return d->columns;
}
void Engine::setColumns(const QString &Columns)
{
    d->columns = Columns;
}
QString Engine::IPColumn() const
{
    return d->ipColumn;
}
void Engine::setIPColumn(const QString &IPColumn)
{
    d->ipColumn = IPColumn;
}
MGImport8::ImportOptions *Engine::ImportOptions() const
{
    return d->options;
}

bool Engine::StartWizard(QObject *Parent)
{
    // Without a wizard nothing can be imported, so nothing completed: the result says exactly that.
    if (!g_launcher)
        return true;
    return g_launcher(*this, Parent);
}

bool Engine::Import(const QString &Filename)
{
    Q_UNUSED(Filename)
    return false;
}

QString Engine::ColumnChoices() const
{
    QString columns = d->columns;
    return u"<ignore>|"_s % columns.replace(u',', u'|');
}

void Engine::FireNewRow(MGImport8::ImportRow *ImportRow, QString &Status, bool &Skip)
{
    d->stopReason.reset();
    d->inHandler = true;
    // A throwing handler is the run's to report; the flag must not outlive the handler either way.
    struct Leave
    {
        bool &flag;
        ~Leave() { flag = false; }
    } leave{d->inHandler};
    Q_EMIT NewRow(ImportRow, Status, Skip, QPrivateSignal());
}

void Engine::StopImport(const QString &Reason)
{
    if (d->inHandler)
        d->stopReason = Reason;
}

void Engine::FireImportComplete()
{
    Q_EMIT ImportComplete(QPrivateSignal());
}

QString LibraryAccess::ColumnChoices(const Engine &engine)
{
    return engine.ColumnChoices();
}

void LibraryAccess::FireNewRow(Engine &engine, ImportRow *row, QString &status, bool &skip)
{
    engine.FireNewRow(row, status, skip);
}

std::optional<QString> LibraryAccess::TakeStopRequest(Engine &engine)
{
    return std::exchange(engine.d->stopReason, std::nullopt);
}

void LibraryAccess::FireImportComplete(Engine &engine)
{
    engine.FireImportComplete();
}

} // namespace MGImport8

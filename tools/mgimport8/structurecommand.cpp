#include "structurecommand.h"

#include "output.h"
#include "serveroptions.h"

#include <MGImport8/sqladmin.h>

#include <QCommandLineParser>

#include <cstdio>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace MGImport8::Tool {

namespace {

constexpr int Succeeded = 0;
constexpr int Failed = 1;
constexpr int UsageError = 2;
/// Characters of the progress bar drawn on a terminal.
constexpr int ProgressBarWidth = 40;

// Prints what the trace gained since the last call, so that the trace streams as it grows.
class TraceStream
{
public:
    explicit TraceStream(const SQLAdmin &admin)
        : m_admin(admin)
        , m_printed(admin.UpdateTrace().size())
        , m_terminal(isatty(fileno(stderr)) != 0)
    {}
    void flush()
    {
        const QString trace = m_admin.UpdateTrace();
        if (trace.size() > m_printed) {
            out() << forTerminal(trace.mid(m_printed));
            out().flush();
        }
        m_printed = trace.size();
    }
    void progress(int percent)
    {
        flush();
        if (m_terminal) {
            const int filled = qBound(0, percent, 100) * ProgressBarWidth / 100;
            err() << "\r[" << QString(filled, u'#') << QString(ProgressBarWidth - filled, u' ')
                  << "] " << percent << '%';
        } else {
            err() << "progress " << percent << "%\n";
        }
        err().flush();
    }
    void finish()
    {
        flush();
        if (m_terminal)
            err() << '\n';
    }

private:
    const SQLAdmin &m_admin;
    qsizetype m_printed;
    bool m_terminal;
};

} // namespace

int runStructure(const QStringList &arguments)
{
    const QString action = arguments.value(1);
    const QString command = u"mgimport8 structure "_s + action;
    QStringList rest = arguments;
    if (rest.size() > 1)
        rest.removeAt(1);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"verify FILE: bring --database into line with the structure file FILE.\n"
        "build FILE: create the database --database in the folder --path from FILE.\n"
        "export FILE: write the structure file of --database to FILE."_s);
    parser.addHelpOption();
    const ServerOptionSet serverOptions(parser, false);
    const QCommandLineOption database(u"database"_s, u"The database."_s, u"NAME"_s);
    const QCommandLineOption
        dryRun(u"dry-run"_s,
               u"verify: run every change in one transaction and roll it back, printing "
               "each statement."_s);
    const QCommandLineOption path(u"path"_s, u"build: the data folder on the server."_s, u"DIR"_s);
    const QCommandLineOption data(u"data"_s,
                                  u"export: tables whose rows go into the file as seed data."_s,
                                  u"TABLE,..."_s);
    parser.addOptions({database, dryRun, path, data});
    if (action != u"verify"_s && action != u"build"_s && action != u"export"_s) {
        if (action == u"--help"_s || action == u"-h"_s) {
            out() << parser.helpText().replace("mgimport8 [options]"_L1,
                                               "mgimport8 structure verify|build|export [options] "
                                               "FILE"_L1);
            return Succeeded;
        }
        if (action.isEmpty())
            err() << "mgimport8 structure: verify, build or export names what to do\n";
        else
            err() << "mgimport8 structure: verify, build or export, not '" << action << "'\n";
        return UsageError;
    }
    if (!parser.parse(rest)) {
        err() << command << ": " << parser.errorText() << '\n';
        return UsageError;
    }
    if (parser.isSet(u"help"_s)) {
        out() << parser.helpText().replace("mgimport8 [options]"_L1, command + u" [options] FILE"_s);
        return Succeeded;
    }
    if (parser.positionalArguments().size() != 1) {
        err() << command << ": names one structure FILE\n";
        return UsageError;
    }
    const std::optional<ServerOptions> server = serverOptions.read(command);
    if (!server)
        return UsageError;
    const QString databaseName = parser.value(database).trimmed();
    if (databaseName.isEmpty()) {
        err() << command << ": --database names the database\n";
        return UsageError;
    }
    if (action == u"build"_s && parser.value(path).isEmpty()) {
        err() << command << ": --path names the data folder of the new database\n";
        return UsageError;
    }
    if ((parser.isSet(dryRun) && action != u"verify"_s)
        || (parser.isSet(path) && action != u"build"_s)
        || (parser.isSet(data) && action != u"export"_s)) {
        err() << command << ": --dry-run is verify's, --path build's and --data export's\n";
        return UsageError;
    }
    const QString file = parser.positionalArguments().first();

    SQLAdmin admin;
    admin.setServerType(server->serverType);
    admin.setServerName(server->server);
    admin.setUseIntegratedNTSecurity(server->user.isEmpty());
    admin.setLoginName(server->user);
    admin.setLoginPassword(server->password);
    if (!admin.Connect(false)) {
        err() << forTerminal(admin.LastError()) << '\n';
        return Failed;
    }
    TraceStream trace(admin);
    QObject::connect(&admin, &SQLAdmin::UpdateDBStructureProgress,
                     [&trace](int percent) { trace.progress(percent); });
    QObject::connect(&admin, &SQLAdmin::AlteringDatabase,
                     [&trace](const QString &) { trace.flush(); });
    const bool showStatements = parser.isSet(dryRun);
    QObject::connect(&admin, &SQLAdmin::StructureStatement,
                     [&trace, showStatements](const QString &statement) {
                         trace.flush();
                         if (showStatements)
                             out() << "SQL: " << statement << '\n';
                     });

    bool done = false;
    if (action == u"verify"_s) {
        if (showStatements)
            out() << "Dry run: every change runs in one transaction that is rolled back at the "
                     "end. Statements a transaction cannot take back (CREATE INDEX "
                     "CONCURRENTLY, tablespaces, databases) are shown and not run.\n";
        admin.setStructureDryRun(showStatements);
        SQLDatabase *target = admin.GetDatabase(databaseName);
        done = target && admin.UpdateDatabaseStructure(target, file);
    } else if (action == u"build"_s) {
        done = admin.BuildDatabase(databaseName, parser.value(path), file);
    } else {
        SQLDatabase *source = admin.GetDatabase(databaseName);
        done = source
               && admin.WriteXMLStructureFile(source, file,
                                              parser.value(data).split(u',', Qt::SkipEmptyParts));
    }
    trace.finish();
    if (!done && !admin.LastError().isEmpty())
        err() << forTerminal(admin.LastError()) << '\n';
    admin.Disconnect();
    return done ? Succeeded : Failed;
}

} // namespace MGImport8::Tool

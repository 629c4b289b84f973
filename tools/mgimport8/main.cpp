#include "accountcommands.h"
#include "databasescommand.h"
#include "importcommand.h"
#include "methodscommand.h"
#include "output.h"
#include "serverscommand.h"
#include "structurecommand.h"

#include "common/componentfolder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace MGImport8::Tool {

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

QTextStream &err()
{
    static QTextStream stream(stderr);
    return stream;
}

namespace {

constexpr int UsageError = 2;

// The tool links the library's layers instead of loading the library, so it names the library's
// folder itself: the method files and the program files folder are found from there, as they are
// for a host. Installed, the folder is the library folder beside the program folder; in the build
// tree, lib/ beside bin/.
void useLibraryFolder()
{
    const QDir programFolder(QCoreApplication::applicationDirPath());
    for (const char *relative :
         {MGIMPORT8_INSTALLED_LIBRARY_FOLDER, MGIMPORT8_BUILD_LIBRARY_FOLDER}) {
        const QFileInfo folder(programFolder.filePath(QString::fromUtf8(relative)));
        if (folder.isDir()) {
            MGImport8::setComponentFolder(folder.canonicalFilePath());
            return;
        }
    }
}

void printUsage(QTextStream &stream)
{
    stream << "Usage: mgimport8 COMMAND [OPTIONS]\n"
              "\n"
              "Commands:\n"
              "  import [options] FILE\n"
              "                     Import FILE as the Import Wizard would, acting as a host:\n"
              "                     one JSON object per imported row on standard output.\n"
              "  import --server NAME --database NAME --table NAME|QUERY [options]\n"
              "                     The same from a table (or query) of a database server.\n"
              "  databases --server NAME [options]\n"
              "                     List the databases of a server.\n"
              "  login exists|test|password|create --server NAME --database NAME --login NAME\n"
              "        [--new-password-file FILE]\n"
              "                     Check, test, set the password of, or create the account\n"
              "                     the monitoring software uses for its database.\n"
              "  dictionary write|update --server NAME --database NAME [--tables LIST] [--log]\n"
              "        FILE         Write or update the data dictionary of a database.\n"
              "  methods [--json]   List the import methods as the Import Wizard loads them\n"
              "                     from the *.ImportMethods files beside the library and in\n"
              "                     the folders of MGIMPORT8_METHODS_PATH.\n"
              "  servers            List the SQL Servers found on the network and among the\n"
              "                     registered servers.\n"
              "  structure verify|build|export --server NAME --database NAME [options] FILE\n"
              "                     Verify a database against a structure file (--dry-run to\n"
              "                     see what would change), build one from it (--path DIR),\n"
              "                     or export one to it (--data TABLE,...).\n"
              "\n"
              "Run 'mgimport8 COMMAND --help' for a command's options.\n";
}

} // namespace

} // namespace MGImport8::Tool

int main(int argc, char **argv)
{
    using namespace MGImport8::Tool;
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(u"mgimport8"_s);
    useLibraryFolder();

    QStringList arguments = QCoreApplication::arguments();
    const QString command = arguments.value(1);
    int status = UsageError;
    if (command == "import"_L1) {
        arguments.removeAt(1);
        status = runImport(arguments);
    } else if (command == "methods"_L1) {
        arguments.removeAt(1);
        status = runMethods(arguments);
    } else if (command == "databases"_L1) {
        arguments.removeAt(1);
        status = runDatabases(arguments);
    } else if (command == "login"_L1) {
        arguments.removeAt(1);
        status = runLogin(arguments);
    } else if (command == "dictionary"_L1) {
        arguments.removeAt(1);
        status = runDictionary(arguments);
    } else if (command == "structure"_L1) {
        arguments.removeAt(1);
        status = runStructure(arguments);
    } else if (command == "servers"_L1) {
        arguments.removeAt(1);
        status = runServers(arguments);
    } else if (command == "--help"_L1 || command == "-h"_L1 || command == "help"_L1) {
        printUsage(out());
        status = 0;
    } else {
        if (!command.isEmpty())
            err() << "mgimport8: unknown command '" << command << "'\n\n";
        printUsage(err());
    }
    out().flush();
    err().flush();
    return status;
}

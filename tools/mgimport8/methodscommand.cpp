#include "methodscommand.h"

#include "methods/catalogueloader.h"
#include "output.h"

#include <MGImport8/importtypes.h>

#include <QCommandLineParser>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace MGImport8::Tool {

namespace {

constexpr int AllLoaded = 0;
constexpr int SomeFileFailed = 1;
constexpr int UsageError = 2;

// Written by hand rather than through QJsonObject, which sorts its keys: the fields come in the
// order of the method record, as an administrator reads them.
QString methodToJson(const ImportType &method)
{
    QStringList panels;
    for (const QString &panel : method.Panels())
        panels.append(jsonString(panel));
    const QList<std::pair<const char *, QString>> fields = {
        {"Name", jsonString(method.Name())},
        {"Enabled", method.Enabled() ? u"true"_s : u"false"_s},
        {"Method", jsonString(method.Method())},
        {"Description", jsonString(method.Description())},
        {"Icon", jsonString(method.Icon())},
        {"SelectFileTitle", jsonString(method.SelectFileTitle())},
        {"SelectFileDescription", jsonString(method.SelectFileDescription())},
        {"Pattern", jsonString(method.Pattern())},
        {"Table", jsonString(method.Table())},
        {"Delimiter", jsonString(method.Delimiter())},
        {"FieldMap", jsonString(method.FieldMap())},
        {"Panels", method.HasPanelList() ? u"["_s + panels.join(u", "_s) + u"]"_s : u"null"_s},
    };
    QStringList lines;
    for (const auto &[key, value] : fields)
        lines.append(u"      \""_s + QString::fromLatin1(key) + u"\": "_s + value);
    return u"    {\n"_s + lines.join(u",\n"_s) + u"\n    }"_s;
}

void printJson(const ImportTypes &catalogue)
{
    QStringList methods;
    for (const ImportType *method : catalogue)
        methods.append(methodToJson(*method));
    out() << "{\n  \"LastError\": " << jsonString(catalogue.LastError()) << ",\n  \"Methods\": ";
    if (methods.isEmpty())
        out() << "[]\n}\n";
    else
        out() << "[\n" << methods.join(u",\n"_s) << "\n  ]\n}\n";
}

// Delimiters are mostly invisible characters; show them the way they are typed.
QString visibleDelimiters(const QString &delimiter)
{
    QString shown;
    for (QChar c : delimiter) {
        if (c == u'\t')
            shown += u"\\t"_s;
        else if (c == u' ')
            shown += u"\\s"_s;
        else
            shown += c;
    }
    return shown;
}

QString panelsText(const ImportType &method)
{
    if (!method.HasPanelList())
        return u"(no PANELS: the wizard cannot navigate this method)"_s;
    if (method.Panels().isEmpty())
        return u"(none)"_s;
    return method.Panels().join(u',');
}

void printTable(const ImportTypes &catalogue, const QStringList &folders,
                const QList<CatalogueLoader::FileReport> &reports)
{
    const QStringList headers = {u"#"_s,    u"Name"_s,      u"Enabled"_s, u"Method"_s,
                                 u"Icon"_s, u"Delimiter"_s, u"Panels"_s};
    QList<QStringList> rows;
    int position = 0;
    for (const ImportType *method : catalogue) {
        rows.append({QString::number(++position), method->Name(),
                     method->Enabled() ? u"yes"_s : u"no"_s, method->Method(), method->Icon(),
                     visibleDelimiters(method->Delimiter()), panelsText(*method)});
    }

    QList<qsizetype> widths;
    for (const QString &header : headers)
        widths.append(header.size());
    for (const QStringList &row : std::as_const(rows)) {
        for (qsizetype i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    }
    auto printRow = [&](const QStringList &row) {
        QString line;
        for (qsizetype i = 0; i < row.size(); ++i)
            line += i + 1 < row.size() ? row[i].leftJustified(widths[i] + 2) : row[i];
        out() << line << '\n';
    };

    out() << "Import methods: " << catalogue.Count() << '\n';
    if (!rows.isEmpty()) {
        out() << '\n';
        printRow(headers);
        for (const QStringList &row : std::as_const(rows))
            printRow(row);
    }

    out() << "\nFolders searched:\n";
    for (const QString &folder : folders)
        out() << "  " << folder << '\n';

    if (!reports.isEmpty()) {
        out() << "\nMethod files:\n";
        for (const CatalogueLoader::FileReport &report : reports) {
            out() << "  " << report.path << '\n';
            if (!report.loaded) {
                out() << "    not loaded: " << report.problem << '\n';
                continue;
            }
            out() << "    methods added: "
                  << (report.added.isEmpty() ? u"none"_s : report.added.join(u", "_s)) << '\n';
            if (!report.duplicates.isEmpty())
                out() << "    already loaded, ignored: " << report.duplicates.join(u", "_s) << '\n';
            if (report.unnamed > 0)
                out() << "    ImportMethod elements without NAME, ignored: " << report.unnamed
                      << '\n';
        }
    }

    if (!catalogue.LastError().isEmpty())
        out() << "\nLastError: " << forTerminal(catalogue.LastError()).trimmed() << '\n';
}

} // namespace

int runMethods(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Lists the import methods as the Import Wizard loads them: every *.ImportMethods file "
        "beside the library, then those in the folders of MGIMPORT8_METHODS_PATH."_s);
    parser.addHelpOption();
    const QCommandLineOption json(u"json"_s, u"Print one JSON object instead of a table."_s);
    parser.addOption(json);
    if (!parser.parse(arguments)) {
        err() << "mgimport8 methods: " << parser.errorText() << '\n';
        return UsageError;
    }
    if (parser.isSet(u"help"_s)) {
        out() << parser.helpText().replace("mgimport8 [options]"_L1,
                                           "mgimport8 methods [options]"_L1);
        return AllLoaded;
    }
    if (!parser.positionalArguments().isEmpty()) {
        err() << "mgimport8 methods: unexpected argument '" << parser.positionalArguments().first()
              << "'\n";
        return UsageError;
    }

    ImportTypes catalogue;
    QList<CatalogueLoader::FileReport> reports;
    CatalogueLoader::Load(catalogue, &reports);

    if (parser.isSet(json))
        printJson(catalogue);
    else
        printTable(catalogue, CatalogueLoader::methodFolders(), reports);

    const bool failed = std::any_of(reports.cbegin(), reports.cend(),
                                    [](const auto &report) { return !report.loaded; });
    return failed ? SomeFileFailed : AllLoaded;
}

} // namespace MGImport8::Tool

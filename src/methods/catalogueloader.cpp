#include "methods/catalogueloader.h"

#include "common/codepage.h"
#include "common/componentfolder.h"
#include "common/xmltext.h"
#include "common/yesno.h"
#include "methods/importtype_p.h"
#include "methods/importtypes_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStringBuilder>

#include <pugixml.hpp>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

const QString MethodFilePattern = u"*.ImportMethods"_s;
constexpr const char *MethodXPath = "/ImportMethods/ImportMethod";

QString delimiterFor(const QString &word)
{
    const QString upper = word.toUpper();
    if (upper == "COMMA"_L1)
        return u","_s;
    if (upper == "TAB"_L1)
        return u"\t"_s;
    if (upper == "SPACE"_L1)
        return u" "_s;
    if (upper == "SEMICOLON"_L1)
        return u";"_s;
    if (upper == "COLON"_L1)
        return u":"_s;
    return {};
}

// pugixml reads UTF-8, UTF-16 and UTF-32 on its own and Latin-1 when told. Files written by
// Windows tools often declare windows-1252, or declare nothing and still hold its bytes; those are
// turned into UTF-8 first so their descriptions keep their accents.
pugi::xml_encoding prepareBuffer(QByteArray &buffer)
{
    const bool unicodeBom = buffer.startsWith("\xEF\xBB\xBF") || buffer.startsWith("\xFF\xFE")
                            || buffer.startsWith("\xFE\xFF");
    if (unicodeBom || buffer.left(4).contains('\0'))
        return pugi::encoding_auto;

    static const QRegularExpression declaration(
        uR"(^\s*<\?xml[^>]*?encoding\s*=\s*["']([A-Za-z0-9._-]+)["'])"_s);
    const auto match = declaration.match(QString::fromLatin1(buffer.left(256)));
    const QString declared = match.hasMatch() ? match.captured(1).toLower() : QString();
    if (declared == "iso-8859-1"_L1 || declared == "latin1"_L1 || declared == "iso8859-1"_L1)
        return pugi::encoding_latin1;
    const bool cp1252 = declared == "windows-1252"_L1 || declared == "cp1252"_L1;
    const bool undeclared = declared.isEmpty() || declared.startsWith("utf"_L1);
    if (cp1252 || (undeclared && !isValidUtf8(buffer))) {
        buffer = decodeWindows1252(buffer).toUtf8();
        if (cp1252) {
            // The text is UTF-8 now; a declaration still naming windows-1252 would only mislead.
            const qsizetype at = buffer.indexOf(match.captured(1).toLatin1());
            if (at >= 0)
                buffer.replace(at, match.capturedLength(1), "UTF-8");
        }
    }
    return pugi::encoding_utf8;
}

QString describeParseError(const QByteArray &buffer, const pugi::xml_parse_result &result,
                           pugi::xml_encoding encoding)
{
    QString text = QString::fromUtf8(result.description());
    if (encoding == pugi::encoding_auto || result.offset < 0 || result.offset > buffer.size())
        return text;
    const QByteArray before = buffer.left(result.offset);
    const qsizetype line = before.count('\n') + 1;
    const qsizetype column = result.offset - (before.lastIndexOf('\n') + 1) + 1;
    return text % u" (line "_s % QString::number(line) % u", column "_s % QString::number(column)
           % u")"_s;
}

// The message keeps its established wording; the reason goes to the file report, since the
// description after the line break has always been empty for files that fail to load.
QString cannotLoadMessage(const QString &path)
{
    return u"Cannot load Import Methods from ("_s % path % u")\r\n"_s;
}

} // namespace

QStringList CatalogueLoader::methodFolders()
{
    QStringList folders;
    QStringList seen;
    auto add = [&](const QString &folder) {
        if (folder.isEmpty())
            return;
        const QFileInfo info(folder);
        const QString key = info.exists() ? info.canonicalFilePath() : QDir::cleanPath(folder);
        if (seen.contains(key))
            return;
        seen.append(key);
        folders.append(QDir::cleanPath(folder));
    };
    add(componentFolder());
    const QStringList extra = qEnvironmentVariable("MGIMPORT8_METHODS_PATH")
                                  .split(QDir::listSeparator(), Qt::SkipEmptyParts);
    for (const QString &folder : extra)
        add(folder);
    return folders;
}

void CatalogueLoader::Load(ImportTypes &catalogue, QList<FileReport> *reports)
{
    const QStringList folders = methodFolders();
    for (const QString &folder : folders)
        LoadFolder(catalogue, folder, reports);
}

void CatalogueLoader::LoadFolder(ImportTypes &catalogue, const QString &folder,
                                 QList<FileReport> *reports)
{
    // Directory order, unsorted, as the file system enumerates it; the pattern matches without
    // regard to case, as it does where the method files come from.
    const QDir dir(folder);
    const QStringList files = dir.entryList({MethodFilePattern},
                                            QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot,
                                            QDir::Unsorted);
    for (const QString &file : files) {
        FileReport report = LoadFile(catalogue, dir.filePath(file));
        if (reports)
            reports->append(std::move(report));
    }
}

CatalogueLoader::FileReport CatalogueLoader::LoadFile(ImportTypes &catalogue, const QString &path)
{
    FileReport report;
    report.path = path;

    QByteArray buffer;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        report.problem = file.errorString();
    } else if (file.size() > MaxFileBytes) {
        report.problem = u"the file is larger than %1 MiB"_s.arg(MaxFileBytes / (1024 * 1024));
    } else {
        buffer = file.read(MaxFileBytes + 1);
        if (file.error() != QFileDevice::NoError)
            report.problem = file.errorString();
        else if (buffer.size() > MaxFileBytes) // grew while we looked
            report.problem = u"the file is larger than %1 MiB"_s.arg(MaxFileBytes / (1024 * 1024));
    }

    if (!report.problem.isEmpty()) {
        catalogue.d->lastError = cannotLoadMessage(path);
        return report;
    }
    return LoadBuffer(catalogue, std::move(buffer), path);
}

CatalogueLoader::FileReport CatalogueLoader::LoadBuffer(ImportTypes &catalogue, QByteArray buffer,
                                                        const QString &path)
{
    FileReport report;
    report.path = path;
    pugi::xml_document document;
    const pugi::xml_encoding encoding = prepareBuffer(buffer);
    const pugi::xml_parse_result parsed = document.load_buffer(buffer.constData(),
                                                               size_t(buffer.size()),
                                                               pugi::parse_default, encoding);
    if (!parsed) {
        report.problem = describeParseError(buffer, parsed, encoding);
        catalogue.d->lastError = cannotLoadMessage(path);
        return report;
    }

    report.loaded = true;
    const pugi::xpath_node_set nodes = document.select_nodes(MethodXPath);
    for (const pugi::xpath_node &node : nodes) {
        auto method = std::make_unique<ImportType>();
        if (!ReadMethod(*method, node.node())) {
            ++report.unnamed;
            continue;
        }
        if (catalogue.Item(method->Name())) {
            report.duplicates.append(method->Name());
            continue;
        }
        report.added.append(method->Name());
        method->setParent(&catalogue);
        catalogue.d->methods.append(method.release());
    }
    return report;
}

bool CatalogueLoader::ReadMethod(ImportType &method, const pugi::xml_node &node)
{
    ImportType::Private &d = *method.d;
    for (const pugi::xml_attribute &attribute : node.attributes()) {
        const QString name = Xml::fromXml(attribute.name()).toUpper();
        const QString value = Xml::fromXml(attribute.value());
        if (name == "NAME"_L1) {
            d.name = value;
        } else if (name == "METHOD"_L1) {
            d.method = value;
        } else if (name == "DISABLED"_L1) {
            d.enabled = !IsTrue(value);
        } else if (name == "DESCRIPTION"_L1) {
            d.description = value;
        } else if (name == "ICON"_L1) {
            d.icon = value;
        } else if (name == "SELECTFILETITLE"_L1) {
            d.selectFileTitle = value;
        } else if (name == "SELECTFILEDESCRIPTION"_L1) {
            d.selectFileDescription = value;
        } else if (name == "PANELS"_L1) {
            // Split without trimming: "MethodPanel, FilePanel" lists " FilePanel", which no
            // panel key matches. An empty attribute is a list of no panels.
            d.panels = value.isEmpty() ? QStringList() : value.split(u',');
        } else if (name == "PATTERN"_L1) {
            d.pattern = value;
        } else if (name == "TABLE"_L1) {
            d.table = value;
        } else if (name == "DELIMITER"_L1) {
            const QStringList words = value.split(u',');
            for (const QString &word : words)
                d.delimiter += delimiterFor(word);
        } else if (name == "FIELDMAP"_L1) {
            d.fieldMap = value;
        }
    }
    return !d.name.isEmpty();
}

} // namespace MGImport8

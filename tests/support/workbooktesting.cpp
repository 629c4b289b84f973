#include "workbooktesting.h"

#include <QFile>

#include <zip.h>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

QStringList tableRows(const TextTable &table)
{
    QStringList rows;
    for (qsizetype row = 0; row < table.rowCount(); ++row) {
        QStringList cells;
        for (int column = 0; column < table.cellCount(row); ++column)
            cells.append(table.text(row, column));
        rows.append(cells.join(u'|'));
    }
    return rows;
}

QStringList loadedRows(const SheetLoad &load)
{
    if (load.error)
        return {u"error %1: %2"_s.arg(load.error->number).arg(load.error->description)};
    return tableRows(*load.table);
}

QString spreadsheet(const QString &name)
{
    return corpusDir() + u"/spreadsheets/"_s + name;
}

QByteArray zipParts(const std::vector<std::pair<QString, QByteArray>> &parts)
{
    TempFolder folder;
    const QString path = folder.path() + u"/parts.zip"_s;
    int error = 0;
    zip *archive = zip_open(QFile::encodeName(path).constData(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    if (!archive)
        return {};
    for (const auto &[name, bytes] : parts) {
        zip_source_t *source = zip_source_buffer(archive, bytes.constData(),
                                                 zip_uint64_t(bytes.size()), 0);
        zip_file_add(archive, name.toUtf8().constData(), source, ZIP_FL_ENC_UTF_8);
    }
    zip_close(archive);
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray minimalXlsx(const QByteArray &sheet, const QByteArray &sharedStrings,
                       const QByteArray &styles, const QByteArray &workbookPr)
{
    const QByteArray ns = "http://schemas.openxmlformats.org/officeDocument/2006/relationships";
    QByteArray rels = "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/"
                      "relationships\"><Relationship Id=\"rId1\" Type=\""
                      + ns + "/worksheet\" Target=\"worksheets/sheet1.xml\"/>";
    if (!sharedStrings.isEmpty())
        rels += "<Relationship Id=\"rId2\" Type=\"" + ns
                + "/sharedStrings\" Target=\"sharedStrings.xml\"/>";
    if (!styles.isEmpty())
        rels += "<Relationship Id=\"rId3\" Type=\"" + ns + "/styles\" Target=\"styles.xml\"/>";
    rels += "</Relationships>";
    std::vector<std::pair<QString, QByteArray>> parts = {
        {u"_rels/.rels"_s,
         "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">"
         "<Relationship Id=\"rId1\" Type=\""
             + ns + "/officeDocument\" Target=\"xl/workbook.xml\"/></Relationships>"},
        {u"xl/workbook.xml"_s,
         "<workbook xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\" "
         "xmlns:r=\""
             + ns + "\"><workbookPr " + workbookPr
             + "/><sheets><sheet name=\"One\" sheetId=\"1\" r:id=\"rId1\"/></sheets></workbook>"},
        {u"xl/_rels/workbook.xml.rels"_s, rels},
        {u"xl/worksheets/sheet1.xml"_s, sheet},
    };
    if (!sharedStrings.isEmpty())
        parts.push_back({u"xl/sharedStrings.xml"_s, sharedStrings});
    if (!styles.isEmpty())
        parts.push_back({u"xl/styles.xml"_s, styles});
    return zipParts(parts);
}

QByteArray sheetXml(const QByteArray &rows, const QByteArray &afterData)
{
    return "<worksheet xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\">"
           "<sheetData>"
           + rows + "</sheetData>" + afterData + "</worksheet>";
}

} // namespace MGImport8::Test

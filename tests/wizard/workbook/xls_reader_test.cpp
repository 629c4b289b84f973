// The .xls reader on workbooks built record by record, for what the corpus files do not show:
// - shared strings broken across CONTINUE records, with the option byte changing mid-string, and
//   an embedded chart's cells kept out of its sheet;
// - the Excel 2 layout and Excel 4 workbooks, which the corpus has none of;
// - damaged records (cut short, bad indexes) and containers (a corpus workbook's, with a loop, a
//   pointer outside the file, cut short), encrypted and foreign files, each refused with its
//   number and never read as a success.

#include "workbooktesting.h"

#include <gtest/gtest.h>

#include <QtEndian>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {
namespace {

// A value's bytes as the file holds it: little-endian (as on every machine these tests run on).
template<typename T>
QByteArray bytesOf(T value)
{
    return QByteArray(reinterpret_cast<const char *>(&value), sizeof value);
}
QByteArray le16(unsigned value)
{
    return bytesOf(qToLittleEndian(quint16(value)));
}
QByteArray le32(quint32 value)
{
    return bytesOf(qToLittleEndian(value));
}
QByteArray f64(double value)
{
    return bytesOf(value);
}

QByteArray record(unsigned id, const QByteArray &data)
{
    return le16(id) + le16(unsigned(data.size())) + data;
}

QByteArray cell(unsigned row, unsigned column, unsigned xf = 0)
{
    return le16(row) + le16(column) + le16(xf);
}

constexpr unsigned Bof = 0x0809, Eof = 0x000A, BoundSheet = 0x0085, Sst = 0x00FC;
constexpr unsigned Continue = 0x003C, Number = 0x0203, Label = 0x0204, LabelSst = 0x00FD;
constexpr unsigned FilePass = 0x002F;

QByteArray bof(unsigned version, unsigned kind)
{
    return record(Bof, le16(version) + le16(kind) + QByteArray(12, '\0'));
}

// An Excel 97 workbook stream: the globals (with one sheet entry per sheet, its name a Unicode
// string with an 8-bit count) and the sheets' records.
QByteArray workbookStream(const QByteArray &globals, const QList<QByteArray> &sheets)
{
    const QByteArray entry = record(BoundSheet, le32(0) + le16(0) + QByteArray("\x05\x00Sheet", 7));
    QByteArray head = bof(0x0600, 0x0005) + globals;
    const qsizetype firstEntry = head.size();
    head += entry.repeated(sheets.size()) + record(Eof, {});
    QByteArray body;
    for (qsizetype i = 0; i < sheets.size(); ++i) {
        // Point entry i at its sheet's first record (the offset follows the record header).
        qToLittleEndian<quint32>(quint32(head.size() + body.size()),
                                 head.data() + firstEntry + i * entry.size() + 4);
        body += bof(0x0600, 0x0010) + sheets[i] + record(Eof, {});
    }
    return head + body;
}

// A corpus workbook in its compound file of 512-byte sectors, its Workbook stream past the
// small-stream cutoff in sectors of its own: the container the damage below is done to.
QByteArray containedWorkbook()
{
    return fileBytes(spreadsheet(u"calamine/issues.xls"_s));
}

// The directory entry of the Workbook stream, which starts with its name.
qsizetype workbookEntry(const QByteArray &file)
{
    return file.indexOf(QByteArray("W\0o\0r\0k\0b\0o\0o\0k\0\0\0", 18));
}

// The container with the Workbook stream's first sector followed by sector `next`.
QByteArray rechained(QByteArray file, quint32 next)
{
    const quint32 first = qFromLittleEndian<quint32>(file.constData() + workbookEntry(file) + 0x74);
    const quint32 table = qFromLittleEndian<quint32>(file.constData() + 0x4C + 4 * (first / 128));
    qToLittleEndian<quint32>(next, file.data() + 512 + table * 512 + first % 128 * 4);
    return file;
}

// The container with the Workbook stream under another name.
QByteArray renamed(QByteArray file, const QString &name)
{
    const qsizetype entry = workbookEntry(file);
    QByteArray field(64, '\0');
    for (qsizetype i = 0; i < name.size(); ++i)
        qToLittleEndian<quint16>(name[i].unicode(), field.data() + 2 * i);
    file.replace(entry, 64, field);
    qToLittleEndian<quint16>(quint16((name.size() + 1) * 2), file.data() + entry + 0x40);
    return file;
}

// The sheet's rows, one per line ("a|b"), or the error, for readable failures.
std::string readXls(const QByteArray &bytes, int sheet = 0)
{
    TempFolder folder;
    return loadedRows(loadWorkbookSheet(folder.write(u"book.xls"_s, bytes), sheet))
        .join(u'\n')
        .toStdString();
}

int refusal(const QByteArray &bytes, int sheet = 0)
{
    TempFolder folder;
    const SheetLoad load = loadWorkbookSheet(folder.write(u"book.xls"_s, bytes), sheet);
    if (!load.error)
        return 0;
    EXPECT_FALSE(load.error->description.isEmpty());
    return load.error->number;
}

TEST(XlsReader, JoinsSharedStringsAcrossContinueRecordsAndSkipsEmbeddedCharts)
{
    // "abcdef" breaks after "abc"; the rest comes as UTF-16 ("déf"), announced by the option
    // byte at the start of the CONTINUE record. The second string starts a record of its own and
    // carries rich-text runs that break across the next boundary.
    const QByteArray first = le16(6) + '\0' + "abc";
    const QByteArray rest = QByteArray("\x01", 1) + le16(u'd') + le16(0xE9) + le16(u'f');
    const QByteArray second = le16(2) + '\x08' + le16(2) + "xy" + QByteArray(5, '\x11');
    const QByteArray sst = record(Sst, le32(2) + le32(2) + first) + record(Continue, rest)
                           + record(Continue, second) + record(Continue, QByteArray(3, '\x11'));
    const QByteArray chart = bof(0x0600, 0x0020) + record(Number, cell(5, 5) + f64(1))
                             + record(Eof, {});
    const QByteArray sheet = record(LabelSst, cell(0, 0) + le32(0)) + chart
                             + record(LabelSst, cell(0, 1) + le32(1));
    EXPECT_EQ(readXls(workbookStream(sst, {sheet})), "abcdéf|xy");
}

TEST(XlsReader, ReadsOlderGenerations)
{
    // Excel 2: a bare worksheet stream, three attribute bytes per cell (the second naming the
    // number format), one-byte string lengths.
    auto attributes = [](char format) -> QByteArray { return QByteArray(1, '\0') + format + '\0'; };
    auto at = [&](unsigned row, unsigned column, char format = 0) -> QByteArray {
        return le16(row) + le16(column) + attributes(format);
    };
    const QByteArray excel2 = record(0x0009, le16(2) + le16(0x0010))
                              + record(0x001E, QByteArray("\x07General", 8))
                              + record(0x001E, QByteArray("\x08yyyy-m-d", 9))
                              + record(0x0002, at(0, 0) + le16(17))
                              + record(0x0003, at(0, 1, 1) + f64(2.0))
                              + record(0x0004, at(1, 0) + "\x04text")
                              + record(0x0005, at(1, 1) + '\0' + '\0')
                              // A formula whose text result follows in the next record.
                              + record(0x0006,
                                       at(2, 0) + QByteArray(6, '\0') + "\xFF\xFF" + '\0' + '\0')
                              + record(0x0007, QByteArray("\x05given", 6)) + record(Eof, {});
    EXPECT_EQ(readXls(excel2), "17|1900-01-02\ntext|FALSE\ngiven");
    // An Excel 4 workbook: a bare stream of globals, then each sheet behind a header record
    // holding its length and name.
    auto excel4Sheet = [](const QByteArray &cells) -> QByteArray {
        const QByteArray body = record(0x0409, le16(0) + le16(0x0010)) + cells + record(Eof, {});
        return record(0x008F, le32(quint32(body.size())) + "\x01A") + body;
    };
    const QByteArray excel4 = record(0x0409, le16(0) + le16(0x0100)) + record(Eof, {})
                              + excel4Sheet(record(Label, cell(0, 0) + le16(5) + "first"))
                              + excel4Sheet(record(Number, cell(2, 1) + f64(2.5)));
    EXPECT_EQ(readXls(excel4, 0), "first");
    EXPECT_EQ(readXls(excel4, 1), "2.5");
    EXPECT_EQ(refusal(excel4, 2), WorkbookErrorNumber::SubscriptOutOfRange);
}

TEST(XlsReader, RefusesDamagedEncryptedAndForeignFiles)
{
    const QByteArray sound = workbookStream({}, {record(Number, cell(0, 0) + f64(1))});
    QByteArray cutRecord = sound;
    cutRecord.chop(3);
    const struct
    {
        const char *name;
        QByteArray bytes;
        int sheet;
        int number;
    } streams[] = {
        {"sound", sound, 0, 0},
        {"record_cut_short", cutRecord, 0, WorkbookErrorNumber::InvalidFileFormat},
        {"shared_string_missing", workbookStream({}, {record(LabelSst, cell(0, 0) + le32(3))}), 0,
         WorkbookErrorNumber::InvalidFileFormat},
        {"password", workbookStream(record(FilePass, le16(0)), {{}}), 0,
         WorkbookErrorNumber::ReaderMissing},
        {"bare_chart", bof(0x0600, 0x0020) + record(Eof, {}), 0, WorkbookErrorNumber::ReaderMissing},
    };
    for (const auto &c : streams)
        EXPECT_EQ(refusal(c.bytes, c.sheet), c.number) << c.name;

    MGIMPORT8_REQUIRE_CORPUS();
    const QByteArray contained = containedWorkbook();
    ASSERT_GE(workbookEntry(contained), 0);
    ASSERT_EQ(refusal(contained), 0);
    const quint32 first = qFromLittleEndian<quint32>(contained.constData()
                                                     + workbookEntry(contained) + 0x74);
    const struct
    {
        const char *name;
        QByteArray bytes;
        int number;
    } containers[] = {
        {"chain_loop", rechained(contained, first), WorkbookErrorNumber::InvalidFileFormat},
        {"chain_outside_file", rechained(contained, 4000), WorkbookErrorNumber::InvalidFileFormat},
        {"container_cut_short", contained.left(512 * 3), WorkbookErrorNumber::InvalidFileFormat},
        {"encrypted_package", renamed(contained, u"EncryptedPackage"_s),
         WorkbookErrorNumber::ReaderMissing},
        {"other_document", renamed(contained, u"WordDocument"_s),
         WorkbookErrorNumber::ReaderMissing},
    };
    for (const auto &c : containers)
        EXPECT_EQ(refusal(c.bytes), c.number) << c.name;
}

} // namespace
} // namespace MGImport8::Test

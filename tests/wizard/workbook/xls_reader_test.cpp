// The .xls reader on workbooks built record by record, for what the corpus files do not show:
// - every cell record and formula result of Excel 97-2003, with dates in both date systems;
// - shared strings broken across CONTINUE records, with the option byte changing mid-string;
// - Excel 2, 4 and 5 layouts, code-page text, small streams, embedded charts, merged areas;
// - damaged containers and records (loops, pointers outside the file, cut records, bad indexes),
//   encrypted and foreign files, each refused with its number and never read as a success.

#include "workbooktesting.h"

#include <gtest/gtest.h>

#include <QtEndian>

#include <cstring>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {
namespace {

QByteArray le16(unsigned value)
{
    QByteArray out(2, '\0');
    qToLittleEndian<quint16>(quint16(value), out.data());
    return out;
}

QByteArray le32(quint32 value)
{
    QByteArray out(4, '\0');
    qToLittleEndian<quint32>(value, out.data());
    return out;
}

QByteArray f64(double value)
{
    QByteArray out(8, '\0');
    std::memcpy(out.data(), &value, 8);
    return out;
}

QByteArray record(unsigned id, const QByteArray &data)
{
    return le16(id) + le16(unsigned(data.size())) + data;
}

QByteArray cell(unsigned row, unsigned column, unsigned xf = 0)
{
    return le16(row) + le16(column) + le16(xf);
}

// A compressed (one byte per character) string with a 16-bit count, as Excel 97 writes it.
QByteArray narrow(const QByteArray &latin1)
{
    return le16(unsigned(latin1.size())) + '\0' + latin1;
}

constexpr unsigned Bof = 0x0809, Eof = 0x000A, BoundSheet = 0x0085, Sst = 0x00FC;
constexpr unsigned Continue = 0x003C, Number = 0x0203, Rk = 0x027E, MulRk = 0x00BD;
constexpr unsigned Label = 0x0204, LabelSst = 0x00FD, BoolErr = 0x0205, Formula = 0x0006;
constexpr unsigned String = 0x0207, Format = 0x041E, Xf = 0x00E0, DateMode = 0x0022;
constexpr unsigned MergedCells = 0x00E5, FilePass = 0x002F, Codepage = 0x0042;

QByteArray bof(unsigned version, unsigned kind)
{
    return record(Bof, le16(version) + le16(kind) + QByteArray(12, '\0'));
}

// A workbook stream: the globals (with one sheet entry per sheet) and the sheets' records.
QByteArray workbookStream(const QByteArray &globals, const QList<QByteArray> &sheets,
                          unsigned version = 0x0600)
{
    // Excel 97 names its sheets in Unicode strings with an 8-bit count, Excel 5 in byte strings.
    const QByteArray name = version == 0x0600 ? QByteArray("\x05\x00Sheet", 7)
                                              : QByteArray("\x05Sheet", 6);
    const QByteArray entry = record(BoundSheet, le32(0) + le16(0) + name);
    QByteArray head = bof(version, 0x0005) + globals;
    const qsizetype firstEntry = head.size();
    head += entry.repeated(sheets.size()) + record(Eof, {});
    QByteArray body;
    for (qsizetype i = 0; i < sheets.size(); ++i) {
        // Point entry i at its sheet's first record (the offset follows the record header).
        qToLittleEndian<quint32>(quint32(head.size() + body.size()),
                                 head.data() + firstEntry + i * entry.size() + 4);
        body += bof(version, 0x0010) + sheets[i] + record(Eof, {});
    }
    return head + body;
}

enum class Chain { Sound, Loop, OutsideFile, SmallStream, LargeSectors };

QByteArray entry(const QString &name, char type, quint32 child, quint32 start, quint32 size)
{
    QByteArray out(128, '\0');
    for (qsizetype i = 0; i < name.size(); ++i)
        qToLittleEndian<quint16>(name[i].unicode(), out.data() + 2 * i);
    qToLittleEndian<quint16>(quint16((name.size() + 1) * 2), out.data() + 0x40);
    out[0x42] = type;
    qToLittleEndian<quint32>(0xFFFFFFFF, out.data() + 0x44);
    qToLittleEndian<quint32>(0xFFFFFFFF, out.data() + 0x48);
    qToLittleEndian<quint32>(child, out.data() + 0x4C);
    qToLittleEndian<quint32>(start, out.data() + 0x74);
    qToLittleEndian<quint32>(size, out.data() + 0x78);
    return out;
}

// A table sector: `next[i]` for the first entries, free after them.
QByteArray tableSector(const QList<quint32> &next, qsizetype sectorBytes = 512)
{
    QByteArray out;
    for (quint32 value : next)
        out += le32(value);
    while (out.size() < sectorBytes)
        out += le32(0xFFFFFFFF);
    return out;
}

// A compound file (512-byte sectors) holding `stream` under `name`: sector 0 the allocation
// table, 1 the directory, then the stream's sectors (padded to 4096 bytes). SmallStream keeps
// the stream unpadded in 64-byte small sectors instead: sector 2 their table, 3 on their area.
// LargeSectors uses the 4096-byte sectors of the format's version 4.
QByteArray compoundFile(const QByteArray &name, QByteArray stream, Chain chain = Chain::Sound)
{
    const bool small = chain == Chain::SmallStream;
    const bool large = chain == Chain::LargeSectors;
    const qsizetype sectorBytes = large ? 4096 : 512;
    const quint32 streamSize = quint32(small ? stream.size()
                                             : std::max<qsizetype>(4096, stream.size()));
    QList<quint32> fat{0xFFFFFFFD, 0xFFFFFFFE};
    QByteArray extra; // the small sectors' table, when there is one
    quint32 rootStart = 0xFFFFFFFE, rootSize = 0, streamStart = 2;
    if (small) {
        const quint32 smallSectors = (streamSize + 63) / 64;
        QList<quint32> chainOfSmall;
        for (quint32 i = 0; i < smallSectors; ++i)
            chainOfSmall.append(i + 1 == smallSectors ? 0xFFFFFFFE : i + 1);
        extra = tableSector(chainOfSmall);
        fat.append(0xFFFFFFFE);
        rootStart = 3;
        rootSize = smallSectors * 64;
        streamStart = 0;
    }
    stream.resize(((std::max<qsizetype>(stream.size(), small ? 1 : 4096) + sectorBytes - 1)
                   / sectorBytes)
                      * sectorBytes,
                  '\0');
    const qsizetype sectors = stream.size() / sectorBytes;
    const quint32 first = small ? 3 : 2;
    for (qsizetype i = 0; i < sectors; ++i) {
        const bool last = i + 1 == sectors;
        quint32 next = last ? 0xFFFFFFFE : quint32(first + i + 1);
        if (last && chain == Chain::Loop)
            next = first;
        if (last && chain == Chain::OutsideFile)
            next = 4000;
        fat.append(next);
    }
    // A damaged chain claims one sector more than the sound stream has.
    const quint32 claimed = chain == Chain::Loop || chain == Chain::OutsideFile ? streamSize + 512
                                                                                : streamSize;
    QByteArray header = QByteArray("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8) + QByteArray(16, '\0')
                        + le16(0x3E) + le16(large ? 4 : 3) + le16(0xFFFE) + le16(large ? 12 : 9)
                        + le16(6) + QByteArray(6, '\0') + le32(0) + le32(1) + le32(1) + le32(0)
                        + le32(4096) + le32(small ? 2 : 0xFFFFFFFE) + le32(small ? 1 : 0)
                        + le32(0xFFFFFFFE) + le32(0) + le32(0);
    for (int i = 1; i < 109; ++i)
        header += le32(0xFFFFFFFF);
    header.resize(sectorBytes, '\0');
    QByteArray directory = entry(u"Root Entry"_s, 5, 1, rootStart, rootSize)
                           + entry(QString::fromLatin1(name), 2, 0xFFFFFFFF, streamStart, claimed)
                           + QByteArray(256, '\0');
    directory.resize(sectorBytes, '\0');
    return header + tableSector(fat, sectorBytes) + directory + extra + stream;
}

// The sheet's rows, one per line ("a|b"), or the error, for readable failures.
std::string readXls(const QByteArray &bytes, int sheet = 0)
{
    TempFolder folder;
    return loadedRows(loadWorkbookSheet(folder.write(u"book.xls"_s, bytes), sheet))
        .join(u'\n')
        .toStdString();
}

std::string lines(const QStringList &rows)
{
    return rows.join(u'\n').toStdString();
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

// Formats: XF 0 General, XF 1 built-in date 14, XF 2 a custom date-time code.
const QByteArray formats = record(Format, le16(170) + narrow("yyyy-mm-dd hh:mm"))
                           + record(Xf, le16(0) + le16(0) + QByteArray(16, '\0'))
                           + record(Xf, le16(0) + le16(14) + QByteArray(16, '\0'))
                           + record(Xf, le16(0) + le16(170) + QByteArray(16, '\0'));

QByteArray formulaResult(char kind, char value)
{
    return QByteArray(1, kind) + '\0' + QByteArray(1, value) + QByteArray(3, '\0') + "\xFF\xFF";
}

QByteArray formula(unsigned row, unsigned column, const QByteArray &result, unsigned xf = 0)
{
    return record(Formula, cell(row, column, xf) + result + le16(0) + le32(0) + le16(0));
}

TEST(XlsReader, ReadsEveryCellRecordAndFormulaResult)
{
    const QByteArray sst = record(Sst, le32(1) + le32(1) + narrow("shared"));
    const QByteArray sheet
        = record(Number, cell(0, 0) + f64(0.1 + 0.2)) + record(Rk, cell(0, 1) + le32((42 << 2) | 2))
          + record(Rk, cell(0, 2) + le32((1234 << 2) | 3)) // 12.34, an integer over 100
          + record(MulRk, le16(1) + le16(0) + le16(0) + le32((7 << 2) | 2) + le16(1)
                              + le32((45000 << 2) | 2) + le16(0))
          + record(Label, cell(2, 0) + narrow("label")) + record(LabelSst, cell(2, 1) + le32(0))
          + record(BoolErr, cell(2, 2) + '\x01' + '\0')
          + record(BoolErr, cell(2, 3) + '\x07' + '\x01') + formula(3, 0, f64(45000.5), 2)
          + formula(3, 1, formulaResult(0, 0)) + record(String, narrow("cached text"))
          + formula(3, 2, formulaResult(1, 0)) + formula(3, 3, formulaResult(2, 0x2A))
          + formula(3, 4, formulaResult(3, 0));
    EXPECT_EQ(readXls(compoundFile("Workbook", workbookStream(formats + sst, {sheet}))),
              lines({u"0.3|42|12.34"_s, u"7|2023-03-15"_s, u"label|shared|TRUE|#DIV/0!"_s,
                     u"2023-03-15 12:00:00|cached text|FALSE|#N/A"_s}));
    // The same serial in the 1904 date system is four years and a day later.
    EXPECT_EQ(readXls(compoundFile("Workbook",
                                   workbookStream(record(DateMode, le16(1)) + formats,
                                                  {record(Rk, cell(0, 0, 1)
                                                                  + le32((45000 << 2) | 2))}))),
              lines({u"2027-03-16"_s}));
}

TEST(XlsReader, JoinsSharedStringsAcrossContinueRecords)
{
    // "abcdef" breaks after "abc"; the rest comes as UTF-16 ("déf"), announced by the option
    // byte at the start of the CONTINUE record. The second string starts a record of its own and
    // carries rich-text runs that break across the next boundary.
    const QByteArray first = le16(6) + '\0' + "abc";
    const QByteArray rest = QByteArray("\x01", 1) + le16(u'd') + le16(0xE9) + le16(u'f');
    const QByteArray second = le16(2) + '\x08' + le16(2) + "xy" + QByteArray(5, '\x11');
    const QByteArray sst = record(Sst, le32(2) + le32(2) + first) + record(Continue, rest)
                           + record(Continue, second) + record(Continue, QByteArray(3, '\x11'));
    const QByteArray sheet = record(LabelSst, cell(0, 0) + le32(0))
                             + record(LabelSst, cell(0, 1) + le32(1));
    EXPECT_EQ(readXls(compoundFile("Workbook", workbookStream(sst, {sheet}))),
              lines({u"abcdéf|xy"_s}));
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
                              + record(0x0006, at(2, 0) + formulaResult(0, 0) + '\0' + '\0')
                              + record(0x0007, QByteArray("\x05given", 6)) + record(Eof, {});
    EXPECT_EQ(readXls(excel2), lines({u"17|1900-01-02"_s, u"text|FALSE"_s, u"given"_s}));
    // Excel 5 in a "Book" stream: byte strings in the workbook's code page (here Cyrillic).
    const QByteArray excel5 = workbookStream(record(Codepage, le16(1251)),
                                             {record(Label, cell(0, 0) + le16(3) + "\xCC\xEE\xF1")},
                                             0x0500);
    EXPECT_EQ(readXls(compoundFile("Book", excel5)), lines({u"Мос"_s}));
    // Excel 5 also wrote bare worksheet streams, without a container.
    EXPECT_EQ(readXls(bof(0x0500, 0x0010) + record(Label, cell(0, 0) + le16(4) + "bare")
                      + record(Eof, {})),
              lines({u"bare"_s}));
    // An Excel 4 workbook: a bare stream of globals, then each sheet behind a header record
    // holding its length and name.
    auto excel4Sheet = [](const QByteArray &cells) -> QByteArray {
        const QByteArray body = record(0x0409, le16(0) + le16(0x0010)) + cells + record(Eof, {});
        return record(0x008F, le32(quint32(body.size())) + "\x01A") + body;
    };
    const QByteArray excel4 = record(0x0409, le16(0) + le16(0x0100)) + record(Eof, {})
                              + excel4Sheet(record(Label, cell(0, 0) + le16(5) + "first"))
                              + excel4Sheet(record(Number, cell(2, 1) + f64(2.5)));
    EXPECT_EQ(readXls(excel4, 0), lines({u"first"_s}));
    EXPECT_EQ(readXls(excel4, 1), lines({u"2.5"_s}));
    EXPECT_EQ(refusal(excel4, 2), WorkbookErrorNumber::SubscriptOutOfRange);
}

TEST(XlsReader, SkipsEmbeddedChartsAndKeepsMergedAreasTopLeft)
{
    const QByteArray sheet = record(Label, cell(0, 0) + narrow("kept"))
                             + record(Label, cell(0, 1) + narrow("covered")) + bof(0x0600, 0x0020)
                             + record(Number, cell(5, 5) + f64(1)) + record(Eof, {})
                             + record(Number, cell(1, 1) + f64(2))
                             + record(MergedCells, le16(1) + le16(0) + le16(0) + le16(0) + le16(1));
    EXPECT_EQ(readXls(compoundFile("Workbook", workbookStream({}, {sheet}))),
              lines({u"kept"_s, u"|2"_s}));
}

TEST(XlsReader, RefusesDamagedEncryptedAndForeignFiles)
{
    const QByteArray sound = workbookStream({}, {record(Number, cell(0, 0) + f64(1))});
    QByteArray cutRecord = sound;
    cutRecord.chop(3);
    QByteArray truncatedContainer = compoundFile("Workbook", sound);
    truncatedContainer.truncate(512 * 3);
    const struct
    {
        const char *name;
        QByteArray bytes;
        int sheet;
        int number;
    } cases[] = {
        {"sound", compoundFile("Workbook", sound), 0, 0},
        {"sound_in_small_sectors", compoundFile("Workbook", sound, Chain::SmallStream), 0, 0},
        {"sound_in_large_sectors", compoundFile("Workbook", sound, Chain::LargeSectors), 0, 0},
        {"chain_loop", compoundFile("Workbook", sound, Chain::Loop), 0,
         WorkbookErrorNumber::InvalidFileFormat},
        {"chain_outside_file", compoundFile("Workbook", sound, Chain::OutsideFile), 0,
         WorkbookErrorNumber::InvalidFileFormat},
        {"container_cut_short", truncatedContainer, 0, WorkbookErrorNumber::InvalidFileFormat},
        {"record_cut_short", cutRecord, 0, WorkbookErrorNumber::InvalidFileFormat},
        {"shared_string_missing",
         compoundFile("Workbook", workbookStream({}, {record(LabelSst, cell(0, 0) + le32(3))})), 0,
         WorkbookErrorNumber::InvalidFileFormat},
        {"sheet_past_the_last", compoundFile("Workbook", sound), 1,
         WorkbookErrorNumber::SubscriptOutOfRange},
        {"password", compoundFile("Workbook", workbookStream(record(FilePass, le16(0)), {{}})), 0,
         WorkbookErrorNumber::ReaderMissing},
        {"encrypted_package", compoundFile("EncryptedPackage", "x"), 0,
         WorkbookErrorNumber::ReaderMissing},
        {"other_document", compoundFile("WordDocument", "x"), 0, WorkbookErrorNumber::ReaderMissing},
        {"bare_chart", bof(0x0600, 0x0020) + record(Eof, {}), 0, WorkbookErrorNumber::ReaderMissing},
    };
    for (const auto &c : cases)
        EXPECT_EQ(refusal(c.bytes, c.sheet), c.number) << c.name;
}

} // namespace
} // namespace MGImport8::Test

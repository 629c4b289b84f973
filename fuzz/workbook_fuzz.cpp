// Feeds arbitrary XML to the workbook reader's parsers, inside a valid container. The first byte
// picks the target: an .xlsx worksheet with its shared strings and styles (the rest split at
// "\n--\n" into those three parts), an OpenDocument content part, or the raw bytes as a zip
// archive. Each sheet position is read; the reader must neither crash nor hang, and any table it
// yields must read back cell by cell.
#include "storedzip.h"
#include "wizard/workbook/workbookreader.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

using namespace MGImport8;

namespace {

const std::string relationships = "http://schemas.openxmlformats.org/officeDocument/2006/"
                                  "relationships";

std::vector<std::string> splitParts(std::string_view text, size_t count)
{
    std::vector<std::string> parts;
    while (parts.size() + 1 < count) {
        const size_t cut = text.find("\n--\n");
        if (cut == std::string_view::npos)
            break;
        parts.emplace_back(text.substr(0, cut));
        text.remove_prefix(cut + 4);
    }
    parts.emplace_back(text);
    parts.resize(count);
    return parts;
}

std::string xlsxPackage(std::string_view text)
{
    const std::vector<std::string> parts = splitParts(text, 3);
    return Fuzz::storedZip({
        {"_rels/.rels", "<Relationships><Relationship Id=\"rId1\" Type=\"" + relationships
                            + "/officeDocument\" Target=\"xl/workbook.xml\"/></Relationships>"},
        {"xl/workbook.xml",
         "<workbook xmlns:r=\"r\"><sheets><sheet name=\"A\" r:id=\"rId1\"/><sheet name=\"B\" "
         "r:id=\"rId4\"/></sheets></workbook>"},
        {"xl/_rels/workbook.xml.rels",
         "<Relationships><Relationship Id=\"rId1\" Type=\"" + relationships
             + "/worksheet\" Target=\"worksheets/sheet1.xml\"/><Relationship Id=\"rId2\" Type=\""
             + relationships + "/sharedStrings\" Target=\"sharedStrings.xml\"/><Relationship "
             + "Id=\"rId3\" Type=\"" + relationships
             + "/styles\" Target=\"styles.xml\"/><Relationship Id=\"rId4\" Type=\"" + relationships
             + "/chartsheet\" Target=\"chart.xml\"/></Relationships>"},
        {"xl/worksheets/sheet1.xml", parts[0]},
        {"xl/sharedStrings.xml", parts[1]},
        {"xl/styles.xml", parts[2]},
    });
}

std::string odsPackage(std::string_view text)
{
    return Fuzz::storedZip({{"mimetype", "application/vnd.oasis.opendocument.spreadsheet"},
                            {"content.xml", std::string(text)}});
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const std::string_view text(reinterpret_cast<const char *>(data) + 1, size - 1);
    std::string package;
    switch (data[0] % 3) {
    case 0:
        package = xlsxPackage(text);
        break;
    case 1:
        package = odsPackage(text);
        break;
    default:
        package = std::string(text);
        break;
    }
    for (int sheet = 0; sheet < 2; ++sheet) {
        const SheetLoad load = loadZipWorkbookSheet(QByteArray(package.data(),
                                                               qsizetype(package.size())),
                                                    sheet);
        if (load.error) {
            if (load.error->description.isEmpty())
                __builtin_trap();
            continue;
        }
        for (qsizetype row = 0; row < load.table->rowCount(); ++row) {
            for (int column = 0; column < load.table->cellCount(row); ++column)
                (void)load.table->text(row, column);
        }
    }
    return 0;
}

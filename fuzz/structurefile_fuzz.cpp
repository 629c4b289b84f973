// Feeds arbitrary bytes to the structure file reader and reads every object the way the
// verification does: nothing may crash or leak, and every value must come out in its range.
#include "dbstructure/structurefile.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace MGImport8::DbStructure;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const StructureFile file = StructureFile::fromBytes(
        QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    if (!file.loaded())
        std::abort();
    (void)file.createDatabaseStatement();
    for (const pugi::xpath_node &function : file.functions()) {
        if (!readRoutine(function.node(), "SQL/Function").createDate.isValid())
            std::abort();
    }
    for (const pugi::xpath_node &view : file.views()) {
        if (!readRoutine(view.node(), "SQL/View").createDate.isValid())
            std::abort();
    }
    for (const pugi::xpath_node &table : file.tables()) {
        for (const pugi::xpath_node &column : table.node().select_nodes("Columns/*")) {
            const ColumnTemplate read = readColumn(column.node());
            if (!read.isComputed && !read.computedText.isEmpty())
                std::abort();
        }
        (void)readPrimaryKey(table.node());
        for (const pugi::xpath_node &index : table.node().select_nodes("Indexes/*"))
            (void)readIndex(index.node());
        if (const pugi::xml_node seed = seedData(table.node())) {
            for (const pugi::xpath_node &row : seed.select_nodes("Rows/row"))
                (void)attributeText(row.node(), "Port");
        }
    }
    return 0;
}

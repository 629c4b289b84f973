#include "wizard/access/accesscatalogue.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace MGImport8::AccessCatalogue {

namespace {

constexpr unsigned long CataloguePage = 2;
// Property blocks of real databases are a few KiB; anything near this is damage.
constexpr size_t MaxPropertyBytes = 1024 * 1024;
constexpr int BlockHeader = 4;  // "KKD\0" or "MR2\0"
constexpr int RecordHeader = 6; // length (4 bytes), type (2 bytes)
constexpr int NamesRecord = 0x80;
constexpr int ValueHeader = 8; // length, type, element, size
constexpr int ObjectTypeMask = 0x7F;
constexpr long PageNumberMask = 0x00FFFFFF;

unsigned le16(QByteArrayView b, qsizetype at)
{
    return unsigned(static_cast<unsigned char>(b[at]))
           | unsigned(static_cast<unsigned char>(b[at + 1])) << 8;
}

quint32 le32(QByteArrayView b, qsizetype at)
{
    return quint32(le16(b, at)) | quint32(le16(b, at + 2)) << 16;
}

// The bytes a value of a fixed-size type occupies when the library converts it.
int fixedSize(int type)
{
    switch (type) {
    case MDB_BYTE:
        return 1;
    case MDB_INT:
        return 2;
    case MDB_LONGINT:
    case MDB_FLOAT:
        return 4;
    case MDB_MONEY:
    case MDB_DOUBLE:
    case MDB_DATETIME:
        return 8;
    case MDB_REPID:
        return 16;
    case MDB_NUMERIC:
        return 17;
    default:
        return 0;
    }
}

// A list of property names: 2-byte lengths, each followed by that many bytes.
bool namesConsistent(QByteArrayView names, unsigned &count)
{
    qsizetype pos = 0;
    count = 0;
    while (pos < names.size()) {
        if (pos + 2 > names.size())
            return false;
        const unsigned length = le16(names, pos);
        pos += 2 + length;
        if (pos > names.size())
            return false;
        ++count;
    }
    return true;
}

// A block of values: a header with its own name, then values naming an element of the list.
bool valuesConsistent(QByteArrayView values, unsigned names)
{
    if (values.size() < RecordHeader)
        return false;
    qsizetype pos = RecordHeader + le16(values, 4);
    if (pos > values.size())
        return false;
    while (pos < values.size()) {
        if (pos + ValueHeader > values.size())
            return false;
        const unsigned length = le16(values, pos);
        const int type = static_cast<unsigned char>(values[pos + 3]);
        const unsigned element = le16(values, pos + 4);
        const unsigned size = le16(values, pos + 6);
        if (element >= names || pos + ValueHeader + qsizetype(size) > values.size())
            return true; // the library stops reading the block here
        if (length < ValueHeader + size || int(size) < fixedSize(type))
            return false;
        pos += length;
    }
    return true;
}

// The object's property block, read chunk by chunk as the library would, up to the limit.
std::vector<char> readProperties(MdbHandle *mdb, MdbColumn *column, size_t bindSize)
{
    char pointer[MDB_MEMO_OVERHEAD];
    std::memcpy(pointer, column->bind_ptr, MDB_MEMO_OVERHEAD);
    std::vector<char> block;
    size_t length = mdb_ole_read(mdb, column, pointer, bindSize);
    while (length > 0 && length <= bindSize) {
        if (block.size() + length > MaxPropertyBytes)
            return {};
        const char *chunk = static_cast<const char *>(column->bind_ptr);
        block.insert(block.end(), chunk, chunk + length);
        length = mdb_ole_read_next(mdb, column, pointer);
    }
    return block;
}

struct TableFree
{
    void operator()(MdbTableDef *table) const { mdb_free_tabledef(table); }
};

} // namespace

bool propertiesConsistent(QByteArrayView block)
{
    if (block.size() < BlockHeader
        || (std::memcmp(block.data(), "KKD", BlockHeader) != 0
            && std::memcmp(block.data(), "MR2", BlockHeader) != 0))
        return false;
    qsizetype pos = BlockHeader;
    bool haveNames = false;
    unsigned names = 0;
    while (pos < block.size()) {
        if (pos + RecordHeader > block.size())
            return false;
        const quint32 length = le32(block, pos);
        const unsigned type = le16(block, pos + 4);
        if (length < quint32(RecordHeader) || quint64(pos) + length > quint64(block.size()))
            return false;
        const QByteArrayView body = block.sliced(pos + RecordHeader, length - RecordHeader);
        if (type == NamesRecord) {
            if (!namesConsistent(body, names))
                return false;
            haveNames = true;
        } else if (type <= 2 && haveNames && !valuesConsistent(body, names)) {
            return false;
        }
        pos += length;
    }
    return true;
}

Outcome read(MdbHandle *mdb, size_t bindSize)
{
    if (mdb->catalog)
        mdb_free_catalog(mdb);
    mdb->catalog = g_ptr_array_new();
    mdb->num_catalog = 0;

    MdbCatalogEntry objects{};
    objects.mdb = mdb;
    objects.object_type = MDB_TABLE;
    objects.table_pg = CataloguePage;
    std::strcpy(objects.object_name, "MSysObjects");
    std::unique_ptr<MdbTableDef, TableFree> table(mdb_read_table(&objects));
    if (!table || !mdb_read_columns(table.get()))
        return Outcome::Unreadable;

    std::vector<std::vector<char>> buffers(5, std::vector<char>(bindSize + 1, '\0'));
    int propertiesLength = 0;
    const char *names[] = {"Id", "Name", "Type", "Flags"};
    for (int i = 0; i < 4; ++i) {
        if (mdb_bind_column_by_name(table.get(), const_cast<char *>(names[i]),
                                    buffers[size_t(i)].data(), nullptr)
            == -1)
            return Outcome::Unreadable;
    }
    const int propertiesColumn = mdb_bind_column_by_name(table.get(), const_cast<char *>("LvProp"),
                                                         buffers[4].data(), &propertiesLength);
    if (propertiesColumn < 1)
        return Outcome::Unreadable;
    auto *properties = static_cast<MdbColumn *>(
        g_ptr_array_index(table->columns, guint(propertiesColumn - 1)));

    Outcome outcome = Outcome::Sound;
    mdb_rewind_table(table.get());
    while (mdb_fetch_row(table.get())) {
        // The library's own catalogue reader keeps names in buffers of this size.
        if (std::strlen(buffers[1].data()) >= MDB_MAX_OBJ_NAME)
            outcome = Outcome::Damaged;
        auto *entry = static_cast<MdbCatalogEntry *>(g_malloc0(sizeof(MdbCatalogEntry)));
        entry->mdb = mdb;
        g_strlcpy(entry->object_name, buffers[1].data(), sizeof entry->object_name);
        entry->object_type = std::atoi(buffers[2].data()) & ObjectTypeMask;
        entry->table_pg = std::strtoul(buffers[0].data(), nullptr, 10) & PageNumberMask;
        entry->flags = int(std::strtol(buffers[3].data(), nullptr, 10));
        g_ptr_array_add(mdb->catalog, entry);
        ++mdb->num_catalog;
        if (propertiesLength > 0) {
            std::vector<char> block = readProperties(mdb, properties, bindSize);
            if (propertiesConsistent(QByteArrayView(block.data(), qsizetype(block.size()))))
                entry->props = mdb_kkd_to_props(mdb, block.data(), block.size());
            else
                outcome = Outcome::Damaged;
        }
    }
    return outcome;
}

} // namespace MGImport8::AccessCatalogue

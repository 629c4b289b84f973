#include "wizard/access/accessformat.h"

#include <array>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

// The first page starts with a page type of 0 and the engine's name.
constexpr std::array<char, 4> PageSignature = {0x00, 0x01, 0x00, 0x00};
constexpr QByteArrayView JetName("Standard Jet DB", 15);
constexpr QByteArrayView AceName("Standard ACE DB", 15);
constexpr qsizetype NameOffset = 4;
constexpr qsizetype VersionOffset = 0x14;

constexpr int Jet3PageSize = 2048;
constexpr int PageSize = 4096;
// Page 2 holds the definition of the system catalogue, without which nothing can be listed.
constexpr qint64 CataloguePage = 2;
constexpr char TableDefinitionPage = 0x02;
constexpr int FirstAceVersion = 2;

struct KnownVersion
{
    int version;
    const char16_t *name;
};

constexpr KnownVersion KnownVersions[] = {
    {0, u"Jet 3 (Access 97)"},
    {1, u"Jet 4 (Access 2000 to 2003)"},
    {2, u"ACE 12 (Access 2007)"},
    {3, u"ACE 14 (Access 2010)"},
    {4, u"ACE 15 (Access 2013)"},
    {5, u"ACE 16 (Access 2016)"},
    {6, u"ACE 17 (Access 2019 and later)"},
};

} // namespace

Result<AccessFormat> checkAccessFormat(QByteArrayView head, qint64 fileSize)
{
    if (fileSize == 0)
        return Error{u"The file is empty."_s};
    const bool signature = head.size() >= VersionOffset + 4
                           && head.first(PageSignature.size())
                                  == QByteArrayView(PageSignature.data(), PageSignature.size());
    const QByteArrayView engine = signature ? head.sliced(NameOffset, JetName.size())
                                            : QByteArrayView();
    if (!signature || (engine != JetName && engine != AceName))
        return Error{u"The file is not an Access database."_s};

    const auto version = static_cast<unsigned char>(head.at(VersionOffset));
    AccessFormat format;
    for (const KnownVersion &known : KnownVersions) {
        if (known.version == version) {
            format.version = known.version;
            format.name = QString::fromUtf16(known.name);
        }
    }
    if (format.name.isEmpty())
        return Error{u"The file is an Access database of a version that cannot be read (version "
                     "byte %1)."_s.arg(version)};
    if ((engine == JetName) != (format.version <= 1))
        return Error{u"The file is not an Access database: its header is inconsistent."_s};
    format.pageSize = format.version == 0 ? Jet3PageSize : PageSize;

    // Access writes whole pages; anything else was cut short or damaged in transit.
    if (fileSize % format.pageSize != 0 || fileSize < (CataloguePage + 1) * format.pageSize)
        return Error{u"The database file is incomplete or damaged: %1 bytes are not a whole "
                     "number of %2-byte pages holding the system catalogue."_s.arg(fileSize)
                         .arg(format.pageSize)};

    // ACE files encrypt every page after the first when they have a password; the library
    // cannot read them, so say so before it tries.
    const qsizetype cataloguePage = CataloguePage * format.pageSize;
    if (format.version >= FirstAceVersion && head.size() > cataloguePage
        && head.at(cataloguePage) != TableDefinitionPage)
        return Error{u"The database is encrypted with a password, or damaged: its catalogue "
                     "cannot be read. Remove the password in Access (File, Info, Decrypt "
                     "Database) and try again."_s};
    return format;
}

} // namespace MGImport8

#include "wizard/workbook/compoundfile.h"

#include <algorithm>
#include <cstring>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

constexpr std::size_t HeaderBytes = 512;
constexpr std::size_t HeaderTableEntries = 109; // sector numbers of the allocation table in it
constexpr std::size_t DirectoryEntryBytes = 128;
constexpr std::uint32_t FreeSector = 0xFFFFFFFF;
constexpr std::uint32_t EndOfChain = 0xFFFFFFFE;
constexpr std::uint32_t NoEntry = 0xFFFFFFFF;
constexpr std::uint64_t UnknownSize = ~0ULL;
constexpr std::uint8_t StorageEntry = 1;
constexpr std::uint8_t StreamEntry = 2;
constexpr std::uint8_t RootEntry = 5;
constexpr char Signature[] = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";

std::uint16_t u16(std::string_view bytes, std::size_t at)
{
    return std::uint16_t(std::uint8_t(bytes[at]) | std::uint8_t(bytes[at + 1]) << 8);
}

std::uint32_t u32(std::string_view bytes, std::size_t at)
{
    return std::uint32_t(u16(bytes, at)) | std::uint32_t(u16(bytes, at + 2)) << 16;
}

// Appends a sector's worth of table entries; a sector cut short by the end of the file counts
// its missing entries as free.
void appendTable(std::vector<std::uint32_t> &table, std::string_view sector, std::size_t entries)
{
    for (std::size_t i = 0; i < entries; ++i)
        table.push_back(i * 4 + 4 <= sector.size() ? u32(sector, i * 4) : FreeSector);
}

char16_t folded(char16_t c)
{
    return c >= u'a' && c <= u'z' ? char16_t(c - u'a' + u'A') : c;
}

bool sameName(std::u16string_view a, std::u16string_view b)
{
    return a.size() == b.size()
           && std::equal(a.begin(), a.end(), b.begin(),
                         [](char16_t x, char16_t y) { return folded(x) == folded(y); });
}

} // namespace

bool CompoundFile::hasSignature(std::string_view bytes)
{
    return bytes.size() >= 8 && bytes.substr(0, 8) == std::string_view(Signature, 8);
}

std::string_view CompoundFile::sector(std::uint32_t number) const
{
    const std::uint64_t offset = (std::uint64_t(number) + 1) * m_sectorSize;
    if (offset >= m_bytes.size())
        return {};
    return m_bytes.substr(std::size_t(offset), m_sectorSize);
}

std::optional<QString> CompoundFile::open(std::string_view bytes)
{
    m_bytes = bytes;
    if (bytes.size() < HeaderBytes || !hasSignature(bytes))
        return u"The file is too short for a compound file's header"_s;
    if (u16(bytes, 0x1C) != 0xFFFE)
        return u"The compound file's header names an unknown byte order"_s;
    const std::uint16_t majorVersion = u16(bytes, 0x1A);
    const std::uint16_t sectorShift = u16(bytes, 0x1E);
    const std::uint16_t miniShift = u16(bytes, 0x20);
    if (sectorShift != 9 && sectorShift != 12)
        return u"The compound file's sector size (2^%1) is not one the format allows"_s.arg(
            sectorShift);
    if (miniShift == 0 || miniShift >= sectorShift)
        return u"The compound file's small-sector size (2^%1) is not one the format allows"_s.arg(
            miniShift);
    m_sectorSize = 1U << sectorShift;
    m_miniSectorSize = 1U << miniShift;
    m_miniCutoff = u32(bytes, 0x38);
    if (bytes.size() <= m_sectorSize)
        return u"The compound file ends inside its header"_s;
    m_sectorCount = std::uint32_t(
        std::min<std::uint64_t>((bytes.size() - m_sectorSize + m_sectorSize - 1) / m_sectorSize,
                                EndOfChain - 1));
    const std::size_t entriesPerSector = m_sectorSize / 4;

    // The allocation table's own sectors: 109 in the header, the rest in extension sectors.
    const std::uint32_t tableSectors = u32(bytes, 0x2C);
    if (tableSectors > m_sectorCount)
        return u"The compound file claims %1 allocation-table sectors in a file of %2"_s
            .arg(tableSectors)
            .arg(m_sectorCount);
    std::vector<std::uint32_t> tableSectorNumbers;
    tableSectorNumbers.reserve(tableSectors);
    for (std::size_t i = 0; i < HeaderTableEntries && tableSectorNumbers.size() < tableSectors; ++i)
        tableSectorNumbers.push_back(u32(bytes, 0x4C + i * 4));
    std::uint32_t extension = u32(bytes, 0x44);
    std::uint32_t steps = 0;
    while (tableSectorNumbers.size() < tableSectors) {
        if (extension >= m_sectorCount || ++steps > m_sectorCount)
            return u"The compound file's allocation-table list is damaged"_s;
        const std::string_view list = sector(extension);
        for (std::size_t i = 0;
             i + 1 < entriesPerSector && tableSectorNumbers.size() < tableSectors; ++i)
            tableSectorNumbers.push_back(i * 4 + 4 <= list.size() ? u32(list, i * 4) : FreeSector);
        extension = list.size() >= m_sectorSize ? u32(list, m_sectorSize - 4) : EndOfChain;
    }
    m_fat.clear();
    m_fat.reserve(std::size_t(tableSectors) * entriesPerSector);
    for (std::uint32_t number : tableSectorNumbers) {
        if (number >= m_sectorCount)
            return u"The compound file's allocation table lies outside the file (sector %1)"_s.arg(
                number);
        appendTable(m_fat, sector(number), entriesPerSector);
    }

    std::string directory;
    QString error;
    if (!readChain(m_fat, u32(bytes, 0x30), UnknownSize, false, directory, error))
        return u"The compound file's directory is damaged: "_s + error;
    const std::size_t entryCount = std::min<std::size_t>(directory.size() / DirectoryEntryBytes,
                                                         CompoundFileLimits::MaxDirectoryEntries);
    m_entries.clear();
    m_entries.reserve(entryCount);
    for (std::size_t i = 0; i < entryCount; ++i) {
        const std::string_view raw = std::string_view(directory).substr(i * DirectoryEntryBytes,
                                                                        DirectoryEntryBytes);
        Entry entry;
        const std::size_t nameBytes = std::min<std::size_t>(u16(raw, 0x40), 64);
        for (std::size_t at = 0; at + 1 < nameBytes; at += 2) {
            const char16_t c = char16_t(u16(raw, at));
            if (c == 0)
                break;
            entry.name += c;
        }
        entry.type = std::uint8_t(raw[0x42]);
        entry.left = u32(raw, 0x44);
        entry.right = u32(raw, 0x48);
        entry.child = u32(raw, 0x4C);
        entry.start = u32(raw, 0x74);
        entry.size = majorVersion == 3 ? u32(raw, 0x78)
                                       : u32(raw, 0x78) | std::uint64_t(u32(raw, 0x7C)) << 32;
        m_entries.push_back(std::move(entry));
    }
    if (m_entries.empty() || m_entries.front().type != RootEntry)
        return u"The compound file's directory has no root entry"_s;

    m_miniFat.clear();
    m_miniStream.clear();
    const std::uint32_t miniTableStart = u32(bytes, 0x3C);
    if (miniTableStart != EndOfChain && miniTableStart != FreeSector) {
        std::string table;
        if (!readChain(m_fat, miniTableStart, UnknownSize, false, table, error))
            return u"The compound file's small-sector table is damaged: "_s + error;
        appendTable(m_miniFat, table, table.size() / 4);
        const Entry &root = m_entries.front();
        if (root.size > CompoundFileLimits::MaxStreamBytes)
            return u"The compound file's small-stream area is larger than %1 bytes"_s.arg(
                CompoundFileLimits::MaxStreamBytes);
        if (root.size > 0 && !readChain(m_fat, root.start, root.size, false, m_miniStream, error))
            return u"The compound file's small-stream area is damaged: "_s + error;
    }
    return std::nullopt;
}

bool CompoundFile::readChain(const std::vector<std::uint32_t> &table, std::uint32_t start,
                             std::uint64_t size, bool small, std::string &out, QString &error) const
{
    out.clear();
    const std::uint32_t unit = small ? m_miniSectorSize : m_sectorSize;
    const std::uint64_t units = small ? m_miniStream.size() / unit : m_sectorCount;
    if (size != UnknownSize)
        out.reserve(std::size_t(std::min<std::uint64_t>(size, units * unit)));
    std::uint32_t number = start;
    std::vector<bool> visited(std::size_t(units), false);
    while (size == UnknownSize || out.size() < size) {
        if (number == EndOfChain && size == UnknownSize)
            return true;
        if (number >= units || number >= table.size()) {
            error = number == EndOfChain
                        ? u"the chain ends after %1 of %2 bytes"_s.arg(out.size()).arg(size)
                        : u"the chain points outside the file (sector %1)"_s.arg(number);
            return false;
        }
        // A sector met twice means the chain runs in a circle.
        if (visited[number]) {
            error = u"the chain of sectors runs in a loop"_s;
            return false;
        }
        visited[number] = true;
        std::string_view data = small ? std::string_view(m_miniStream)
                                            .substr(std::size_t(number) * unit, unit)
                                      : sector(number);
        if (size != UnknownSize)
            data = data.substr(0, std::size_t(
                                      std::min<std::uint64_t>(data.size(), size - out.size())));
        out.append(data);
        // The file's last sector may be cut short; what it lacks reads as zeros.
        if (data.size() < unit && (size == UnknownSize || out.size() < size))
            out.append(std::size_t(
                           std::min<std::uint64_t>(unit - data.size(),
                                                   size == UnknownSize ? unit : size - out.size())),
                       '\0');
        number = table[number];
    }
    return true;
}

const CompoundFile::Entry *CompoundFile::findInRoot(std::u16string_view name) const
{
    if (m_entries.empty())
        return nullptr;
    std::vector<bool> seen(m_entries.size(), false);
    std::vector<std::uint32_t> pending{m_entries.front().child};
    while (!pending.empty()) {
        const std::uint32_t index = pending.back();
        pending.pop_back();
        if (index == NoEntry || index >= m_entries.size() || seen[index])
            continue;
        seen[index] = true;
        const Entry &entry = m_entries[index];
        if ((entry.type == StreamEntry || entry.type == StorageEntry) && sameName(entry.name, name))
            return entry.type == StreamEntry ? &entry : nullptr;
        pending.push_back(entry.left);
        pending.push_back(entry.right);
    }
    return nullptr;
}

bool CompoundFile::hasStream(std::u16string_view name) const
{
    return findInRoot(name) != nullptr;
}

bool CompoundFile::readStream(std::u16string_view name, std::string &out, QString &error) const
{
    const Entry *entry = findInRoot(name);
    if (!entry) {
        error = u"The compound file has no stream \"%1\""_s.arg(
            QString::fromUtf16(name.data(), qsizetype(name.size())));
        return false;
    }
    if (entry->size > CompoundFileLimits::MaxStreamBytes) {
        error = u"The stream \"%1\" is larger than %2 bytes"_s
                    .arg(QString::fromUtf16(name.data(), qsizetype(name.size())))
                    .arg(CompoundFileLimits::MaxStreamBytes);
        return false;
    }
    const bool small = entry->size < m_miniCutoff;
    QString why;
    if (!readChain(small ? m_miniFat : m_fat, entry->start, entry->size, small, out, why)) {
        error = u"The stream \"%1\" is damaged: "_s.arg(
                    QString::fromUtf16(name.data(), qsizetype(name.size())))
                + why;
        return false;
    }
    return true;
}

} // namespace MGImport8

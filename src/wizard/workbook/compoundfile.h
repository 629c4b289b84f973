#pragma once

#include <QString>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace MGImport8 {

/// Limits of the compound-file reading: what a crafted header or directory may make it allocate
/// or walk.
namespace CompoundFileLimits {
/// A stream read whole into memory (a workbook stream of the largest sheets stays far below).
constexpr std::uint64_t MaxStreamBytes = 512ULL * 1024 * 1024;
/// Directory entries walked when looking for a stream.
constexpr std::uint32_t MaxDirectoryEntries = 1U << 20;
} // namespace CompoundFileLimits

/// A compound file (the container of binary Office documents) over bytes the caller keeps alive:
/// header, sector allocation tables (with their extension sectors), the small-stream table, and
/// the directory. Every sector number is checked against the file, every chain for loops, every
/// size against the limits above; a damaged container gives a description instead of streams.
class CompoundFile
{
public:
    /// The 8-byte signature every compound file starts with.
    static bool hasSignature(std::string_view bytes);

    /// Reads the container's tables; on failure returns why, and the object holds no streams.
    std::optional<QString> open(std::string_view bytes);

    /// True when the root storage has a stream of that name (compared without regard to case, as
    /// the container does).
    bool hasStream(std::u16string_view name) const;

    /// The whole stream of that name in the root storage; false with `error` set when it is
    /// missing or its chain is damaged.
    bool readStream(std::u16string_view name, std::string &out, QString &error) const;

private:
    struct Entry
    {
        std::u16string name;
        std::uint8_t type = 0;
        std::uint32_t left = 0, right = 0, child = 0;
        std::uint32_t start = 0;
        std::uint64_t size = 0;
    };
    bool readChain(const std::vector<std::uint32_t> &table, std::uint32_t start, std::uint64_t size,
                   bool small, std::string &out, QString &error) const;
    std::string_view sector(std::uint32_t number) const;
    const Entry *findInRoot(std::u16string_view name) const;

    std::string_view m_bytes;
    std::uint32_t m_sectorSize = 512;
    std::uint32_t m_miniSectorSize = 64;
    std::uint32_t m_miniCutoff = 4096;
    std::uint32_t m_sectorCount = 0;
    std::vector<std::uint32_t> m_fat;
    std::vector<std::uint32_t> m_miniFat;
    std::vector<Entry> m_entries;
    std::string m_miniStream;
};

} // namespace MGImport8

#pragma once

#include "wizard/workbook/workbookerror.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

struct zip;

namespace MGImport8 {

/// Limits on what a zip container may unpack to, against zip bombs.
namespace ZipLimits {
/// One part read whole into memory (workbook, relationships, styles, OpenDocument content).
constexpr std::uint64_t MaxWholePartBytes = 256ULL * 1024 * 1024;
/// One part read piece by piece (worksheets, shared strings).
constexpr std::uint64_t MaxStreamedPartBytes = 2ULL * 1024 * 1024 * 1024;
/// All parts of one load together.
constexpr std::uint64_t MaxTotalBytes = 4ULL * 1024 * 1024 * 1024;
/// Unpacked size over packed size, checked once a part is larger than `RatioFreeBytes`.
constexpr std::uint64_t MaxCompressionRatio = 250;
constexpr std::uint64_t RatioFreeBytes = 4ULL * 1024 * 1024;
/// Bytes handed on at a time when a part is read piece by piece.
constexpr std::size_t ChunkBytes = 1024 * 1024;
} // namespace ZipLimits

/// A zip archive opened read-only, from a file or from bytes in memory, that unpacks parts within
/// the limits above. A failure's description names the part.
class ZipContainer
{
public:
    static WorkbookResult<ZipContainer> openFile(const QString &path);
    static WorkbookResult<ZipContainer> openBytes(QByteArray bytes);
    ZipContainer(ZipContainer &&other) noexcept;
    ZipContainer &operator=(ZipContainer &&) = delete;
    ~ZipContainer();

    /// The part's name as stored when the archive holds `name` (compared without regard to case,
    /// as the packaging rules want), else nothing.
    std::optional<std::string> find(std::string_view name) const;
    /// The part whole; fails when it is missing or over the limits.
    WorkbookResult<std::string> read(std::string_view name);
    /// Takes a piece of a part; a failure stops the reading and becomes the reading's.
    using PieceConsumer = std::function<WorkbookStatus(std::string_view)>;
    /// The part in pieces of about `ZipLimits::ChunkBytes`, each passed to `consume`.
    WorkbookStatus stream(std::string_view name, const PieceConsumer &consume);

private:
    explicit ZipContainer(zip *archive, QByteArray bytes);
    WorkbookStatus readPart(std::string_view name, std::uint64_t limit,
                            const PieceConsumer &consume);

    zip *m_archive = nullptr;
    QByteArray m_bytes; // the archive when opened from memory
    std::uint64_t m_total = 0;
};

} // namespace MGImport8

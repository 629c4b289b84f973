#include "wizard/workbook/zipcontainer.h"

#include <QFile>

#include <zip.h>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

constexpr std::uint64_t MinChunkBytes = 4096;

QString partName(std::string_view name)
{
    return QString::fromUtf8(name.data(), qsizetype(name.size()));
}

WorkbookError damaged(const QString &what)
{
    return {WorkbookErrorNumber::InvalidFileFormat,
            u"The workbook's zip container is damaged: "_s % what};
}

QString zipErrorText(int code)
{
    zip_error_t error;
    zip_error_init_with_code(&error, code);
    const QString text = QString::fromUtf8(zip_error_strerror(&error));
    zip_error_fini(&error);
    return text;
}

} // namespace

ZipContainer::ZipContainer(zip *archive, QByteArray bytes)
    : m_archive(archive)
    , m_bytes(std::move(bytes))
{}

ZipContainer::ZipContainer(ZipContainer &&other) noexcept
    : m_archive(other.m_archive)
    , m_bytes(std::move(other.m_bytes))
    , m_total(other.m_total)
{
    other.m_archive = nullptr;
}

ZipContainer::~ZipContainer()
{
    if (m_archive)
        zip_discard(m_archive);
}

WorkbookResult<ZipContainer> ZipContainer::openFile(const QString &path)
{
    int code = 0;
    zip *archive = zip_open(QFile::encodeName(path).constData(), ZIP_RDONLY | ZIP_CHECKCONS, &code);
    if (!archive) {
        // A consistency failure is worth a second, lenient try: many writers leave small
        // inconsistencies that readers accept.
        archive = zip_open(QFile::encodeName(path).constData(), ZIP_RDONLY, &code);
    }
    if (!archive)
        return damaged(zipErrorText(code));
    return ZipContainer(archive, {});
}

WorkbookResult<ZipContainer> ZipContainer::openBytes(QByteArray bytes)
{
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t *source = zip_source_buffer_create(bytes.constData(), zip_uint64_t(bytes.size()),
                                                    0, &error);
    if (!source) {
        zip_error_fini(&error);
        return damaged(u"cannot read it"_s);
    }
    zip *archive = zip_open_from_source(source, ZIP_RDONLY, &error);
    if (!archive) {
        const QString text = QString::fromUtf8(zip_error_strerror(&error));
        zip_source_free(source);
        zip_error_fini(&error);
        return damaged(text);
    }
    zip_error_fini(&error);
    return ZipContainer(archive, std::move(bytes));
}

std::optional<std::string> ZipContainer::find(std::string_view name) const
{
    const std::string wanted(name);
    const zip_int64_t index = zip_name_locate(m_archive, wanted.c_str(), ZIP_FL_NOCASE);
    if (index < 0)
        return std::nullopt;
    const char *stored = zip_get_name(m_archive, zip_uint64_t(index), ZIP_FL_ENC_RAW);
    return stored ? std::optional<std::string>(stored) : std::nullopt;
}

WorkbookResult<std::string> ZipContainer::read(std::string_view name)
{
    std::string whole;
    const WorkbookStatus read = readPart(name, ZipLimits::MaxWholePartBytes,
                                         [&](std::string_view piece) -> WorkbookStatus {
                                             whole.append(piece);
                                             return true;
                                         });
    if (!read)
        return read.failure();
    return whole;
}

WorkbookStatus ZipContainer::stream(std::string_view name, const PieceConsumer &consume)
{
    return readPart(name, ZipLimits::MaxStreamedPartBytes, consume);
}

WorkbookStatus ZipContainer::readPart(std::string_view name, std::uint64_t limit,
                                      const PieceConsumer &consume)
{
    const std::string wanted(name);
    const zip_int64_t index = zip_name_locate(m_archive, wanted.c_str(), ZIP_FL_NOCASE);
    if (index < 0)
        return damaged(u"the part "_s % partName(name) % u" is missing"_s);
    zip_stat_t info;
    zip_stat_init(&info);
    if (zip_stat_index(m_archive, zip_uint64_t(index), 0, &info) != 0)
        return damaged(u"the part "_s % partName(name) % u" cannot be read"_s);
    if (info.encryption_method != ZIP_EM_NONE)
        return WorkbookError{WorkbookErrorNumber::ReaderMissing,
                             u"The workbook is encrypted; it cannot be read without its password"_s};
    const std::uint64_t declared = (info.valid & ZIP_STAT_SIZE) ? info.size : 0;
    const std::uint64_t packed = (info.valid & ZIP_STAT_COMP_SIZE) ? info.comp_size : 0;
    auto tooLarge = [&] {
        return WorkbookError{WorkbookErrorNumber::TooLarge,
                             u"The part "_s % partName(name)
                                 % u" unpacks to more than the reader accepts (a zip bomb?)"_s};
    };
    if (declared > limit || m_total + declared > ZipLimits::MaxTotalBytes)
        return tooLarge();
    if (declared > ZipLimits::RatioFreeBytes
        && declared / std::max<std::uint64_t>(packed, 1) > ZipLimits::MaxCompressionRatio)
        return tooLarge();

    std::unique_ptr<zip_file_t, int (*)(zip_file_t *)> file(zip_fopen_index(m_archive,
                                                                            zip_uint64_t(index), 0),
                                                            zip_fclose);
    if (!file)
        return damaged(u"the part "_s % partName(name) % u" cannot be unpacked ("_s
                % QString::fromUtf8(zip_strerror(m_archive)) % u")"_s);
    // Small parts get a buffer of their own size (plus one byte to see the end).
    std::string buffer(size_t(std::clamp<std::uint64_t>(declared + 1, MinChunkBytes,
                                                        ZipLimits::ChunkBytes)),
                       '\0');
    std::uint64_t done = 0;
    for (;;) {
        const zip_int64_t n = zip_fread(file.get(), buffer.data(), buffer.size());
        if (n < 0)
            return damaged(u"the part "_s % partName(name) % u" cannot be unpacked ("_s
                    % QString::fromUtf8(zip_file_strerror(file.get())) % u")"_s);
        if (n == 0)
            break;
        done += std::uint64_t(n);
        m_total += std::uint64_t(n);
        // The declared size may lie; what is unpacked counts.
        if (done > limit || m_total > ZipLimits::MaxTotalBytes
            || (done > ZipLimits::RatioFreeBytes
                && done / std::max<std::uint64_t>(packed, 1) > ZipLimits::MaxCompressionRatio))
            return tooLarge();
        if (const WorkbookStatus taken = consume(std::string_view(buffer.data(), size_t(n)));
            !taken)
            return taken;
    }
    return true;
}

} // namespace MGImport8

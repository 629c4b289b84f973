#include "wizard/workbook/workbookreader.h"

#include "wizard/workbook/odsworkbook.h"
#include "wizard/workbook/xlsworkbook.h"
#include "wizard/workbook/xlsxworkbook.h"
#include "wizard/workbook/zipcontainer.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <new>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

constexpr qsizetype SignatureBytes = 8;

// The file opened for reading, or the reason it could not be.
class Descriptor
{
public:
    explicit Descriptor(const QByteArray &name)
        : m_fd(::open(name.constData(), O_RDONLY | O_CLOEXEC | O_NOCTTY))
        , m_error(m_fd < 0 ? errno : 0)
    {}
    ~Descriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int fd() const { return m_fd; }
    int error() const { return m_error; }

private:
    int m_fd;
    int m_error;
};

QString systemText(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

// A write lock someone else holds on the file (record locks of either kind, or flock).
bool lockedByOther(int fd)
{
    struct flock query = {};
    query.l_type = F_RDLCK;
    query.l_whence = SEEK_SET;
    query.l_start = 0;
    query.l_len = 0;
    if (::fcntl(fd, F_OFD_GETLK, &query) == 0 && query.l_type != F_UNLCK)
        return true;
    if (::flock(fd, LOCK_SH | LOCK_NB) != 0)
        return errno == EWOULDBLOCK;
    ::flock(fd, LOCK_UN);
    return false;
}

using SheetResult = WorkbookResult<std::shared_ptr<const TextTable>>;

template<typename Workbook>
SheetResult readPosition(Workbook &workbook, int position)
{
    if (const WorkbookStatus loaded = workbook.load(); !loaded)
        return loaded.failure();
    if (position < 0 || position >= workbook.sheetCount())
        return WorkbookError{WorkbookErrorNumber::SubscriptOutOfRange,
                             u"The workbook has %1 sheet(s); there is no sheet %2"_s
                                 .arg(workbook.sheetCount())
                                 .arg(qint64(position) + 1)};
    return workbook.readSheet(position);
}

SheetResult readZip(WorkbookResult<ZipContainer> opened, int position)
{
    if (!opened)
        return opened.failure();
    ZipContainer &zip = opened.value();
    const WorkbookResult<bool> ods = OdsWorkbook::recognise(zip);
    if (!ods)
        return ods.failure();
    if (ods.value()) {
        OdsWorkbook workbook(std::move(zip));
        return readPosition(workbook, position);
    }
    if (XlsxWorkbook::recognise(zip)) {
        XlsxWorkbook workbook(std::move(zip));
        return readPosition(workbook, position);
    }
    return WorkbookError{WorkbookErrorNumber::ReaderMissing,
                         u"The zip file holds no workbook that a reader here knows"_s};
}

// Errors come back as values; only a failed allocation arrives as an exception.
template<typename Load>
SheetLoad guarded(Load load)
{
    try {
        SheetResult read = load();
        if (!read)
            return {nullptr, read.failure()};
        return {read.take(), std::nullopt};
    } catch (const std::bad_alloc &) {
        return {nullptr, WorkbookError{WorkbookErrorNumber::OutOfMemory,
                                       u"Not enough memory to read the workbook"_s}};
    }
}

WorkbookError systemFailure(int error)
{
    return {error == EACCES ? WorkbookErrorNumber::PermissionDenied : WorkbookErrorNumber::DeviceIo,
            systemText(error)};
}

// The file as it lies: there, and a regular file (a pipe would hang the opening).
WorkbookStatus checkRegularFile(const QByteArray &name)
{
    struct stat info = {};
    if (::stat(name.constData(), &info) != 0) {
        const int error = errno;
        if (error == ENOENT || error == ENOTDIR)
            return WorkbookError{WorkbookErrorNumber::ReaderMissing, systemText(error)};
        return systemFailure(error);
    }
    if (!S_ISREG(info.st_mode))
        return WorkbookError{WorkbookErrorNumber::InvalidFileFormat,
                             S_ISDIR(info.st_mode) ? systemText(EISDIR) : u"Not a regular file"_s};
    return true;
}

SheetResult loadFile(const QString &path, int position)
{
    const QByteArray name = QFile::encodeName(path);
    if (const WorkbookStatus regular = checkRegularFile(name); !regular)
        return regular.failure();
    const Descriptor file(name);
    if (file.fd() < 0)
        return systemFailure(file.error());
    if (workbookInUse(path) || lockedByOther(file.fd()))
        return WorkbookError{WorkbookErrorNumber::FileInUse,
                             u"The file is locked by another program"_s};

    char head[SignatureBytes] = {};
    const ssize_t got = ::read(file.fd(), head, sizeof head);
    if (got < 0)
        return WorkbookError{WorkbookErrorNumber::DeviceIo, systemText(errno)};
    switch (sniffWorkbookFormat(QByteArrayView(head, got))) {
    case WorkbookFormat::Zip:
        return readZip(ZipContainer::openFile(path), position);
    case WorkbookFormat::Ole2:
    case WorkbookFormat::OldBiff:
        if (position < 0)
            return WorkbookError{WorkbookErrorNumber::SubscriptOutOfRange,
                                 u"There is no sheet %1"_s.arg(qint64(position) + 1)};
        return XlsWorkbook::readSheet(path, position);
    case WorkbookFormat::Unknown:
        break;
    }
    return WorkbookError{WorkbookErrorNumber::ReaderMissing,
                         u"The file is not a workbook in a form a reader here knows (.xlsx, "
                         ".xlsm, .ods, .xls)"_s};
}

} // namespace

WorkbookFormat sniffWorkbookFormat(QByteArrayView head)
{
    if (head.startsWith("PK\x03\x04") || head.startsWith("PK\x05\x06"))
        return WorkbookFormat::Zip;
    if (head.startsWith("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"))
        return WorkbookFormat::Ole2;
    // A bare BIFF stream starts with its BOF record: 0x0009, 0x0209, 0x0409 or 0x0809.
    if (head.size() >= 4 && head[0] == '\x09'
        && (head[1] == '\x00' || head[1] == '\x02' || head[1] == '\x04' || head[1] == '\x08'))
        return WorkbookFormat::OldBiff;
    return WorkbookFormat::Unknown;
}

bool workbookInUse(const QString &path)
{
    const QFileInfo file(path);
    const QString folder = file.absolutePath() + u'/';
    const QString name = file.fileName();
    return QFileInfo::exists(folder + u"~$"_s + name)
           || QFileInfo::exists(folder + u".~lock."_s + name + u'#');
}

SheetLoad loadWorkbookSheet(const QString &path, int position)
{
    return guarded([&] { return loadFile(path, position); });
}

SheetLoad loadZipWorkbookSheet(QByteArray bytes, int position)
{
    return guarded([&]() -> SheetResult {
        if (sniffWorkbookFormat(
                QByteArrayView(bytes).first(std::min<qsizetype>(bytes.size(), SignatureBytes)))
            != WorkbookFormat::Zip)
            return WorkbookError{WorkbookErrorNumber::ReaderMissing, u"Not a zip container"_s};
        return readZip(ZipContainer::openBytes(std::move(bytes)), position);
    });
}

} // namespace MGImport8

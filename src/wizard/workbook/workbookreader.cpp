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

class Descriptor
{
public:
    explicit Descriptor(int fd)
        : m_fd(fd)
    {}
    ~Descriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int fd() const { return m_fd; }

private:
    int m_fd;
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

template<typename Workbook>
SheetLoad readPosition(Workbook &workbook, int position)
{
    if (position < 0 || position >= workbook.sheetCount())
        failWorkbook(WorkbookErrorNumber::SubscriptOutOfRange,
                     u"The workbook has %1 sheet(s); there is no sheet %2"_s
                         .arg(workbook.sheetCount())
                         .arg(qint64(position) + 1));
    return {workbook.readSheet(position), std::nullopt};
}

SheetLoad readZip(ZipContainer zip, int position)
{
    if (OdsWorkbook::recognise(zip)) {
        OdsWorkbook workbook(std::move(zip));
        return readPosition(workbook, position);
    }
    if (XlsxWorkbook::recognise(zip)) {
        XlsxWorkbook workbook(std::move(zip));
        return readPosition(workbook, position);
    }
    failWorkbook(WorkbookErrorNumber::ReaderMissing,
                 u"The zip file holds no workbook that a reader here knows"_s);
}

template<typename Load>
SheetLoad guarded(Load load)
{
    try {
        return load();
    } catch (const WorkbookFailure &failure) {
        return {nullptr, failure.error};
    } catch (const std::bad_alloc &) {
        return {nullptr, WorkbookError{WorkbookErrorNumber::OutOfMemory,
                                       u"Not enough memory to read the workbook"_s}};
    }
}

SheetLoad loadFile(const QString &path, int position)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat info = {};
    if (::stat(name.constData(), &info) != 0) {
        const int error = errno;
        if (error == ENOENT || error == ENOTDIR)
            failWorkbook(WorkbookErrorNumber::ReaderMissing, systemText(error));
        failWorkbook(error == EACCES ? WorkbookErrorNumber::PermissionDenied
                                     : WorkbookErrorNumber::DeviceIo,
                     systemText(error));
    }
    if (!S_ISREG(info.st_mode))
        failWorkbook(WorkbookErrorNumber::InvalidFileFormat,
                     S_ISDIR(info.st_mode) ? systemText(EISDIR) : u"Not a regular file"_s);
    Descriptor file(::open(name.constData(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    if (file.fd() < 0) {
        const int error = errno;
        failWorkbook(error == EACCES ? WorkbookErrorNumber::PermissionDenied
                                     : WorkbookErrorNumber::DeviceIo,
                     systemText(error));
    }
    if (workbookInUse(path) || lockedByOther(file.fd()))
        failWorkbook(WorkbookErrorNumber::FileInUse, u"The file is locked by another program"_s);

    char head[SignatureBytes] = {};
    const ssize_t got = ::read(file.fd(), head, sizeof head);
    if (got < 0)
        failWorkbook(WorkbookErrorNumber::DeviceIo, systemText(errno));
    switch (sniffWorkbookFormat(QByteArrayView(head, got))) {
    case WorkbookFormat::Zip:
        return readZip(ZipContainer::openFile(path), position);
    case WorkbookFormat::Ole2:
    case WorkbookFormat::OldBiff:
        if (position < 0)
            failWorkbook(WorkbookErrorNumber::SubscriptOutOfRange,
                         u"There is no sheet %1"_s.arg(qint64(position) + 1));
        return {XlsWorkbook::readSheet(path, position), std::nullopt};
    case WorkbookFormat::Unknown:
        break;
    }
    failWorkbook(WorkbookErrorNumber::ReaderMissing,
                 u"The file is not a workbook in a form a reader here knows (.xlsx, .xlsm, .ods, "
                 ".xls)"_s);
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
    return guarded([&] {
        if (sniffWorkbookFormat(
                QByteArrayView(bytes).first(std::min<qsizetype>(bytes.size(), SignatureBytes)))
            != WorkbookFormat::Zip)
            failWorkbook(WorkbookErrorNumber::ReaderMissing, u"Not a zip container"_s);
        return readZip(ZipContainer::openBytes(std::move(bytes)), position);
    });
}

} // namespace MGImport8

#include "wizard/sources/textsource.h"

#include "wizard/sources/textdecoder.h"
#include "wizard/sources/textsplitter.h"
#include "wizard/table/podarray.h"
#include "wizard/table/texttable_p.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <new>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace MGImport8 {

namespace {

// A file descriptor that closes itself.
class FileHandle
{
public:
    explicit FileHandle(int fd)
        : m_fd(fd)
    {}
    ~FileHandle()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    FileHandle(const FileHandle &) = delete;
    FileHandle &operator=(const FileHandle &) = delete;
    int fd() const { return m_fd; }

private:
    int m_fd;
};

QString tooLarge()
{
    return QStringLiteral("File is larger than 4 GiB");
}

Error systemError(int error)
{
    return Error{QString::fromLocal8Bit(std::strerror(error))};
}

// The whole file in one buffer, read with as few copies as the system allows. Only regular files
// are read: a device or a pipe could deliver bytes without end or never deliver any.
Result<QByteArray> readWholeFile(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    FileHandle file(::open(name.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (file.fd() < 0)
        return systemError(errno);
    struct stat info = {};
    if (::fstat(file.fd(), &info) != 0)
        return systemError(errno);
    if (S_ISDIR(info.st_mode))
        return systemError(EISDIR);
    if (!S_ISREG(info.st_mode))
        return Error{QStringLiteral("Not a regular file")};
    if (info.st_size > maxTableOffset)
        return Error{tooLarge()};

    QByteArray bytes(qsizetype(info.st_size), Qt::Uninitialized);
    prefault(bytes.data(), std::size_t(bytes.size()));
    qsizetype done = 0;
    // A file that shrinks while it is read ends where its bytes end; one that grows is read as
    // large as it was when opened.
    while (done < bytes.size()) {
        const ssize_t n = ::read(file.fd(), bytes.data() + done, size_t(bytes.size() - done));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return systemError(errno);
        }
        if (n == 0)
            break;
        done += n;
    }
    bytes.truncate(done);
    return bytes;
}

} // namespace

Result<std::shared_ptr<const TextTable>> readDelimitedText(const QString &path,
                                                           const QString &delimiters)
{
    try {
        Result<QByteArray> bytes = readWholeFile(path);
        if (!bytes)
            return Error{bytes.error()};
        std::optional<DecodedText> text = decodeText(bytes.take(), maxTableOffset);
        if (!text)
            return Error{tooLarge()};
        return TextSplitter(delimiters).split(std::move(*text));
    } catch (const std::bad_alloc &) {
        return Error{QStringLiteral("Not enough memory to read the file")};
    }
}

std::shared_ptr<const TextTable> splitDelimitedText(QByteArray bytes, const QString &delimiters)
{
    std::optional<DecodedText> text = decodeText(std::move(bytes), maxTableOffset);
    Result<std::shared_ptr<const TextTable>> table
        = text ? TextSplitter(delimiters).split(std::move(*text)) : Error{};
    return table ? table.take() : TextTable::Builder().finish();
}

} // namespace MGImport8

#pragma once

#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace MGImport8::Test {

/// The folder of third-party test files, or an empty string when it is not there. Tests that need
/// it call MGIMPORT8_REQUIRE_CORPUS() first.
QString corpusDir();

/// The bytes of a file, or "(missing)" when it cannot be read.
QByteArray fileBytes(const QString &path);

/// A socket of `type` (SOCK_STREAM, SOCK_DGRAM) bound to a port the system picks on 127.0.0.1,
/// with that port in `port`; -1 when there is none. The caller closes it.
int loopbackSocket(int type, quint16 *port);

/// The names of the properties a class declares itself, in declaration order.
QStringList ownPropertyNames(const QMetaObject &meta);

/// A fresh temporary folder for one test, removed afterwards.
class TempFolder
{
public:
    TempFolder() { EXPECT_TRUE(m_dir.isValid()) << m_dir.errorString().toStdString(); }
    QString path() const { return m_dir.path(); }
    /// Writes `content` to `name` inside the folder and returns the full path.
    QString write(const QString &name, const QByteArray &content) const;

private:
    QTemporaryDir m_dir;
};

/// Sets an environment variable for the lifetime of the object and restores it afterwards.
class ScopedEnv
{
public:
    ScopedEnv(const char *name, const QByteArray &value);
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv &) = delete;
    ScopedEnv &operator=(const ScopedEnv &) = delete;

private:
    QByteArray m_name;
    QByteArray m_old;
    bool m_had;
};

} // namespace MGImport8::Test

#define MGIMPORT8_REQUIRE_CORPUS()                                                                 \
    do {                                                                                           \
        if (::MGImport8::Test::corpusDir().isEmpty())                                              \
            GTEST_SKIP() << "third-party test files (shared/corpus) are not present here";         \
    } while (false)

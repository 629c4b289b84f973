#pragma once

#include "common/result.h"

#include <QByteArrayView>
#include <QString>

namespace MGImport8 {

/// The file format of an Access database as its first page declares it.
struct AccessFormat
{
    /// The format's version byte: 0 for Jet 3, 1 for Jet 4, 2 and above for the ACE formats.
    int version = 0;
    int pageSize = 0;
    /// "Jet 3 (Access 97)" and so on, for messages.
    QString name;
};

/// Checks what can be checked before the database library trusts the file: the signature, a
/// known version, and a size that holds whole pages up to the system catalogue's. `head` is the
/// file's first bytes (a page or all of a shorter file), `fileSize` its length.
Result<AccessFormat> checkAccessFormat(QByteArrayView head, qint64 fileSize);

/// How many bytes `checkAccessFormat` wants to see: up to the system catalogue's page.
constexpr qsizetype AccessHeadSize = 3 * 4096;

} // namespace MGImport8

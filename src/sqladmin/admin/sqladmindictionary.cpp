// The data dictionary of a database: SQLAdmin finds the database, the dictionary layer does the
// rest and words the error.
#include "sqladmin/admin/sqladmin_p.h"

#include "dbstructure/datadictionary.h"

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

const QString crlf = u"\r\n"_s;

QString templateError(const QString &fileName, const QString &reason)
{
    return u"Cannot create Data Dictionary Template ("_s + fileName + u")"_s + crlf + reason;
}

} // namespace

bool SQLAdmin::WriteDataDictionary(const QString &Database, const QString &FileName)
{
    const QString keep = d->lastError;
    SqlAdmin::ManagedDatabase *database = GetDatabase(Database);
    if (!database) {
        d->lastError = templateError(FileName, d->lastError);
        return false;
    }
    d->lastError = keep;
    Result<bool> written = DbStructure::writeDataDictionary(*database, d->kind(), FileName);
    if (!written) {
        d->lastError = written.error();
        return false;
    }
    return true;
}

bool SQLAdmin::UpdateDataDictionary(const QString &Database, const QString &TableNames,
                                    const QString &FileName, QString &Log)
{
    const QString keep = d->lastError;
    SqlAdmin::ManagedDatabase *database = GetDatabase(Database);
    if (!database) {
        d->lastError = templateError(FileName, d->lastError);
        return false;
    }
    d->lastError = keep;
    Result<bool> updated = DbStructure::updateDataDictionary(*database, d->kind(), TableNames,
                                                             FileName, Log);
    if (!updated) {
        d->lastError = updated.error();
        return false;
    }
    return true;
}

} // namespace MGImport8

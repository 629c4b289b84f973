#pragma once

#include <MGImport8/importtypes.h>

#include <QList>
#include <QString>

namespace MGImport8 {

struct ImportTypes::Private
{
    QList<ImportType *> methods;
    QString lastError;
};

} // namespace MGImport8

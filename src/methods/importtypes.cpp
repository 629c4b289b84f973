#include <MGImport8/importtypes.h>

#include "common/collectionkey.h"
#include "methods/importtypes_p.h"

namespace MGImport8 {

ImportTypes::ImportTypes(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>())
{}

ImportTypes::~ImportTypes() = default;

ImportType *ImportTypes::Item(const QVariant &Key) const
{
    const qsizetype i = findInCollection(d->methods, Key,
                                         [](const ImportType &m) { return m.Name(); });
    return i < 0 ? nullptr : d->methods.at(i);
}

int ImportTypes::Count() const
{
    return int(d->methods.size());
}

void ImportTypes::Remove(const QVariant &Key)
{
    const qsizetype i = findInCollection(d->methods, Key,
                                         [](const ImportType &m) { return m.Name(); });
    if (i >= 0)
        delete d->methods.takeAt(i);
}

QString ImportTypes::LastError() const
{
    return d->lastError;
}

ImportTypes::const_iterator ImportTypes::begin() const
{
    return d->methods.cbegin();
}

ImportTypes::const_iterator ImportTypes::end() const
{
    return d->methods.cend();
}

} // namespace MGImport8

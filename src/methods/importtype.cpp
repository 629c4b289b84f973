#include <MGImport8/importtype.h>

#include "methods/importtype_p.h"

using namespace Qt::StringLiterals;

namespace MGImport8 {

SubscriptOutOfRange::SubscriptOutOfRange()
    : std::out_of_range("Subscript out of range")
{}

ImportType::ImportType(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>())
{}

ImportType::~ImportType() = default;

QString ImportType::Name() const
{
    return d->name;
}
bool ImportType::Enabled() const
{
    return d->enabled;
}
QString ImportType::Description() const
{
    return d->description;
}
QString ImportType::Icon() const
{
    return d->icon;
}
QString ImportType::SelectFileTitle() const
{
    return d->selectFileTitle;
}
QString ImportType::SelectFileDescription() const
{
    return d->selectFileDescription;
}
QString ImportType::Filename() const
{
    return d->filename;
}
void ImportType::setFilename(const QString &Filename)
{
    d->filename = Filename;
}
QString ImportType::Method() const
{
    return d->method;
}
QString ImportType::Pattern() const
{
    return d->pattern;
}
QString ImportType::ConnectionString() const
{
    return d->connectionString;
}
void ImportType::setConnectionString(const QString &ConnectionString)
{
    d->connectionString = ConnectionString;
}
QString ImportType::Table() const
{
    return d->table;
}
void ImportType::setTable(const QString &Table)
{
    d->table = Table;
}
QString ImportType::Delimiter() const
{
    return d->delimiter;
}
void ImportType::setDelimiter(const QString &Delimiter)
{
    d->delimiter = Delimiter;
}
QString ImportType::FieldMap() const
{
    return d->fieldMap;
}
void ImportType::setFieldMap(const QString &FieldMap)
{
    d->fieldMap = FieldMap;
}
bool ImportType::HasPanelList() const
{
    return d->panels.has_value();
}
QStringList ImportType::Panels() const
{
    return d->panels.value_or(QStringList());
}

bool ImportType::IncludePanel(const QString &PanelName) const
{
    if (!d->panels)
        throw SubscriptOutOfRange();
    for (const QString &panel : *d->panels) {
        if (panel.compare(PanelName, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

} // namespace MGImport8

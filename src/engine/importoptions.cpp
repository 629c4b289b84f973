#include <MGImport8/importoptions.h>

#include "common/collectionkey.h"

namespace MGImport8 {

struct ImportOption::Private
{
    QString name;
    QString caption;
    bool value = false;
};

ImportOption::ImportOption(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>())
{}

ImportOption::~ImportOption() = default;

QString ImportOption::Name() const
{
    return d->name;
}
void ImportOption::setName(const QString &Name)
{
    d->name = Name;
}
bool ImportOption::Value() const
{
    return d->value;
}
void ImportOption::setValue(bool Value)
{
    d->value = Value;
}
QString ImportOption::Caption() const
{
    return d->caption;
}
void ImportOption::setCaption(const QString &Caption)
{
    d->caption = Caption;
}

struct ImportOptions::Private
{
    QList<ImportOption *> options;

    qsizetype find(const QVariant &key) const
    {
        return findInCollection(options, key, [](const ImportOption &o) { return o.Name(); });
    }
};

ImportOptions::ImportOptions(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>())
{}

ImportOptions::~ImportOptions() = default;

ImportOption *ImportOptions::Add(const QString &Name, const QString &Caption, bool Value)
{
    ImportOption *option = Item(Name);
    if (!option) {
        option = new ImportOption(this);
        option->setName(Name);
        d->options.append(option);
    }
    option->setCaption(Caption);
    option->setValue(Value);
    return option;
}

ImportOption *ImportOptions::Item(const QVariant &Key) const
{
    const qsizetype i = d->find(Key);
    return i < 0 ? nullptr : d->options.at(i);
}

int ImportOptions::Count() const
{
    return int(d->options.size());
}

void ImportOptions::Remove(const QVariant &Key)
{
    const qsizetype i = d->find(Key);
    if (i >= 0)
        delete d->options.takeAt(i);
}

void ImportOptions::Clear()
{
    qDeleteAll(d->options);
    d->options.clear();
}

ImportOptions::const_iterator ImportOptions::begin() const
{
    return d->options.cbegin();
}

ImportOptions::const_iterator ImportOptions::end() const
{
    return d->options.cend();
}

} // namespace MGImport8

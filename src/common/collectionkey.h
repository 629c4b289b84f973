#pragma once

#include <QList>
#include <QString>
#include <QVariant>

#include <cmath>
#include <limits>

namespace MGImport8 {

/// Finds an entry of an ordered, keyed collection the way the object model's collections look
/// items up: a number is a 1-based position (fractions round half to even, as automation
/// conversions do), text is a key compared without regard to case. Returns the 0-based index, or
/// -1 when there is no such entry or the key is of neither kind.
/// `keyAt(i)` gives the key of the entry at 0-based index `i` of `count` entries.
template<typename KeyAt>
qsizetype findKeyed(qsizetype count, const QVariant &key, KeyAt keyAt)
{
    switch (key.typeId()) {
    case QMetaType::QString:
    case QMetaType::QChar:
    case QMetaType::QByteArray: {
        const QString name = key.toString();
        for (qsizetype i = 0; i < count; ++i) {
            if (QStringView(keyAt(i)).compare(name, Qt::CaseInsensitive) == 0)
                return i;
        }
        return -1;
    }
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Float:
    case QMetaType::Double: {
        const double position = std::nearbyint(key.toDouble());
        if (!std::isfinite(position) || position < 1.0 || position > double(count))
            return -1;
        return qsizetype(position) - 1;
    }
    default:
        // Booleans (True is -1 to an automation client), nulls and objects name no entry.
        return -1;
    }
}

/// `findKeyed` over a list of objects, `keyOf` giving an object's key.
template<typename T, typename KeyOf>
qsizetype findInCollection(const QList<T *> &items, const QVariant &key, KeyOf keyOf)
{
    return findKeyed(items.size(), key, [&](qsizetype i) { return keyOf(*items.at(i)); });
}

} // namespace MGImport8

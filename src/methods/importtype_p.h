#pragma once

#include <MGImport8/importtype.h>

#include <QStringList>

#include <memory>
#include <optional>

namespace MGImport8 {

struct ImportType::Private
{
    QString name;
    bool enabled = false; // a method file must say DISABLED="NO" to offer a method
    QString description;
    QString icon;
    QString selectFileTitle = QStringLiteral("Select File");
    QString selectFileDescription;
    QString filename;
    QString method;
    QString pattern;
    QString connectionString;
    QString table;
    QString delimiter;
    QString fieldMap;
    /// No list at all is not the same as an empty one: only the first makes IncludePanel fail.
    std::optional<QStringList> panels;
};

} // namespace MGImport8

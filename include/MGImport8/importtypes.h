#pragma once

#include <MGImport8/importtype.h>
#include <MGImport8/mgimport8_export.h>

#include <QList>
#include <QObject>
#include <QVariant>

#include <memory>

namespace MGImport8 {

class CatalogueLoader;

/// The catalogue of import methods: every `ImportMethod` element of the `*.ImportMethods` files
/// beside the library (and in the folders of MGIMPORT8_METHODS_PATH), in load order, keyed by
/// `Name` (keys compare without regard to case; the first method loaded under a name wins).
/// The wizard loads it when it fills its method list.
class MGIMPORT8_EXPORT ImportTypes : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int Count READ Count)
    Q_PROPERTY(QString LastError READ LastError)

public:
    using const_iterator = QList<ImportType *>::const_iterator;

    explicit ImportTypes(QObject *parent = nullptr);
    ~ImportTypes() override;

    /// The method at a 1-based position (a number) or with a name (text, any case); `nullptr`
    /// when there is none. Never an error.
    Q_INVOKABLE MGImport8::ImportType *Item(const QVariant &Key) const;
    int Count() const;
    /// Removes and destroys the method at a position or with a name; does nothing when missing.
    Q_INVOKABLE void Remove(const QVariant &Key);
    /// The message of the last method file that could not be loaded, or empty.
    QString LastError() const;

    const_iterator begin() const;
    const_iterator end() const;

private:
    friend class CatalogueLoader;

    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace MGImport8

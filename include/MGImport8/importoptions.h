#pragma once

#include <MGImport8/importoption.h>
#include <MGImport8/mgimport8_export.h>

#include <QList>
#include <QObject>
#include <QVariant>

#include <memory>

namespace MGImport8 {

/// The options that the wizard's options panel offers, in the order added and keyed by `Name`
/// (keys compare without regard to case). The host fills it before `Engine::StartWizard` and reads
/// the chosen values afterwards or while it handles `Engine::NewRow`. The collection owns its
/// options: `Remove` and `Clear` destroy them.
class MGIMPORT8_EXPORT ImportOptions : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int Count READ Count)

public:
    using const_iterator = QList<ImportOption *>::const_iterator;

    explicit ImportOptions(QObject *parent = nullptr);
    ~ImportOptions() override;

    /// Adds an option, or updates the caption and value of the one already under that name (it
    /// keeps its place and its original `Name`). An omitted `Value` sets the option off.
    Q_INVOKABLE MGImport8::ImportOption *Add(const QString &Name, const QString &Caption,
                                             bool Value = false);
    /// The option at a 1-based position (a number) or with a name (text, any case); `nullptr`
    /// when there is none. Never an error.
    Q_INVOKABLE MGImport8::ImportOption *Item(const QVariant &Key) const;
    int Count() const;
    /// Removes and destroys the option at a position or with a name; does nothing when missing.
    Q_INVOKABLE void Remove(const QVariant &Key);
    /// Removes every option.
    Q_INVOKABLE void Clear();

    const_iterator begin() const;
    const_iterator end() const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace MGImport8

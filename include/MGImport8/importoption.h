#pragma once

#include <MGImport8/mgimport8_export.h>

#include <QObject>

#include <QString>
#include <memory>

namespace MGImport8 {

class ImportOptions;

/// One yes/no choice that the wizard's options panel offers: the host's key (`Name`), the text
/// shown to the user (`Caption`) and whether it is on (`Value`).
class MGIMPORT8_EXPORT ImportOption : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString Name READ Name)
    Q_PROPERTY(bool Value READ Value WRITE setValue)
    Q_PROPERTY(QString Caption READ Caption WRITE setCaption)

public:
    ~ImportOption() override;

    /// The option's key; set once when `ImportOptions::Add` creates it.
    QString Name() const;
    bool Value() const;
    void setValue(bool Value);
    QString Caption() const;
    void setCaption(const QString &Caption);

private:
    friend class ImportOptions;
    explicit ImportOption(QObject *parent = nullptr);
    void setName(const QString &Name);

    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace MGImport8

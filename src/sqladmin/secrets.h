#pragma once

#include <QString>
#include <QStringList>

namespace MGImport8::SqlAdmin {

/// `text` (a driver's error, a trace line) with every password taken out: each of `secrets` that
/// occurs in it, and the value of any "PWD=" or "Password=" entry of a connection string it echoes,
/// becomes "****". Used on every text that leaves the management layer.
QString scrubSecrets(const QString &text, const QStringList &secrets);

} // namespace MGImport8::SqlAdmin

#pragma once

#include <QIcon>
#include <QString>
#include <QStringList>

namespace MGImport8 {

/// The pictures of the method list, drawn here with QPainter: one per icon key an import method
/// may name ("Access", "Text", "SQL", "Excel", "TRV", "Quell", "CfgLedger", "Tarn", "Cisco"). Keys
/// compare without regard to case; an unknown or empty key gets a plain document.
class MethodIcons
{
public:
    /// Edge of the square pictures, in pixels.
    static constexpr int Size = 32;
    /// The device pixel ratios each picture is drawn at.
    static constexpr int DrawnScales[] = {1, 2, 3};

    static QIcon icon(const QString &key);
    /// The keys that have a picture of their own.
    static QStringList keys();
};

} // namespace MGImport8

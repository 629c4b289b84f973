#include "wizard/qt/criticalmessagebox.h"

#include <QApplication>
#include <QMessageBox>

using namespace Qt::StringLiterals;

namespace MGImport8 {

void showCriticalMessage(const QString &title, const QString &text)
{
    QString shown = text;
    shown.replace(u"\r\n"_s, u"\n"_s);
    QMessageBox::critical(QApplication::activeWindow(), title, shown, QMessageBox::Ok);
}

} // namespace MGImport8

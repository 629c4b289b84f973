#include "wizard/qt/wizardmessagebox.h"

#include <QLabel>
#include <QLayout>
#include <QScreen>

using namespace Qt::StringLiterals;

namespace MGImport8 {

WizardMessageBox::WizardMessageBox(Icon icon, const QString &title, const QString &text,
                                   QWidget *parent)
    : QMessageBox(icon, title, text, QMessageBox::Ok, parent)
{
    setObjectName(u"WizardMessage"_s);
    setTextFormat(Qt::PlainText);
}

void WizardMessageBox::showEvent(QShowEvent *event)
{
    // The box sizes itself here, wrapping any line longer than about half the screen.
    QMessageBox::showEvent(event);
    auto *label = findChild<QLabel *>(u"qt_msgbox_label"_s);
    if (!label || !label->wordWrap() || !layout())
        return;
    label->setWordWrap(false);
    layout()->invalidate();
    const QSize wanted = layout()->totalSizeHint();
    const int room = screen() ? screen()->availableGeometry().width() : wanted.width();
    if (wanted.width() > room) {
        label->setWordWrap(true); // wider than the screen: wrapping is the lesser evil
        return;
    }
    setFixedSize(std::max(width(), wanted.width()), wanted.height());
}

} // namespace MGImport8

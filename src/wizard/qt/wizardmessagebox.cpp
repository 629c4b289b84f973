#include "wizard/qt/wizardmessagebox.h"

#include <QLabel>
#include <QScreen>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

/// Room left beside the text for the icon, the margins and the window frame, in pixels.
constexpr int ScreenMargin = 160;
/// The box never grows wider than this on a screen this wide (its own limit: beyond it the text
/// would be cut rather than wrapped).
constexpr int SmallScreen = 1024;
constexpr int WideScreenMargin = 480;
constexpr int WidestBox = 1000;

int widestBox(int screenWidth)
{
    return screenWidth <= SmallScreen ? screenWidth
                                      : std::min(screenWidth - WideScreenMargin, WidestBox);
}

} // namespace

WizardMessageBox::WizardMessageBox(Icon icon, const QString &title, const QString &text,
                                   QWidget *parent)
    : QMessageBox(icon, title, text, QMessageBox::Ok, parent)
{
    setObjectName(u"WizardMessage"_s);
    setTextFormat(Qt::PlainText);
}

void WizardMessageBox::showEvent(QShowEvent *event)
{
    // The box sizes itself when shown, wrapping its text at about half the screen's width. A label
    // at least as wide as the text's longest line may still wrap, but never splits a line.
    if (auto *label = findChild<QLabel *>(u"qt_msgbox_label"_s)) {
        int longest = 0;
        const QStringList lines = text().split(u'\n');
        for (const QString &line : lines)
            longest = std::max(longest, label->fontMetrics().horizontalAdvance(line.trimmed()));
        const int room = screen() ? widestBox(screen()->availableGeometry().width()) - ScreenMargin
                                  : longest + 1;
        label->setMinimumWidth(std::min(longest + 1, room));
    }
    QMessageBox::showEvent(event);
}

} // namespace MGImport8

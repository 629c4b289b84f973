#pragma once

#include <QMessageBox>

namespace MGImport8 {

/// The wizard's message box (`WizardMessage`). Its texts carry their own line breaks, so the box
/// grows wide enough to keep each line whole instead of wrapping where its default width ends;
/// only a line wider than the box may grow (about the screen, at most 1000 pixels) still wraps.
class WizardMessageBox : public QMessageBox
{
    Q_OBJECT

public:
    WizardMessageBox(Icon icon, const QString &title, const QString &text, QWidget *parent);

protected:
    void showEvent(QShowEvent *event) override;
};

} // namespace MGImport8

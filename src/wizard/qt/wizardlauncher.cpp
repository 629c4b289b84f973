#include "wizard/qt/wizardlauncher.h"

#include "wizard/qt/wizardform.h"

#include <MGImport8/engine.h>

#include <QApplication>
#include <QPointer>
#include <QWidget>

namespace MGImport8 {

bool launchQtWizard(Engine &engine, QObject *parent)
{
    if (!qobject_cast<QApplication *>(QCoreApplication::instance())) {
        qWarning("MGImport8: StartWizard needs a QApplication to show the Import Wizard; "
                 "nothing was shown.");
        return true;
    }
    QWidget *owner = nullptr;
    if (auto *widget = qobject_cast<QWidget *>(parent))
        owner = widget->window();
    // The host may close its window while the wizard runs; the form must not die with it.
    QPointer<WizardForm> form = new WizardForm(engine, owner);
    form->setWindowModality(owner ? Qt::WindowModal : Qt::ApplicationModal);
    const bool result = form->run();
    delete form.data();
    return result;
}

} // namespace MGImport8

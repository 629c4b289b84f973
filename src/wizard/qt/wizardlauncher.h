#pragma once

class QObject;

namespace MGImport8 {

class Engine;

/// `Engine::StartWizard` in a widget application: a fresh form per call, modal over `parent`'s
/// window when `parent` is a widget. Without a QApplication (a console or QCoreApplication host)
/// nothing can be shown: it warns and returns true, the result of a wizard closed unused.
bool launchQtWizard(Engine &engine, QObject *parent);

} // namespace MGImport8

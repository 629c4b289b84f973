#pragma once

#include <QStyledItemDelegate>

namespace MGImport8 {

class WizardController;

/// Edits the working grid's cells the way the wizard allows: the wizard is asked before every edit
/// (only mapping cells on the mapping panel may be edited, and asking sets the grid's drop-down
/// list), the editor is a drop-down of that list, and the choice goes back to the wizard.
class MappingDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    explicit MappingDelegate(WizardController &controller, QObject *parent = nullptr);

    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                          const QModelIndex &index) const override;
    void setEditorData(QWidget *editor, const QModelIndex &index) const override;
    void setModelData(QWidget *editor, QAbstractItemModel *model,
                      const QModelIndex &index) const override;

private:
    WizardController &m_controller;
};

} // namespace MGImport8

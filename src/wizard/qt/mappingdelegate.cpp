#include "wizard/qt/mappingdelegate.h"

#include "wizard/wizardcontroller.h"

#include <QComboBox>

namespace MGImport8 {

MappingDelegate::MappingDelegate(WizardController &controller, QObject *parent)
    : QStyledItemDelegate(parent)
    , m_controller(controller)
{}

QWidget *MappingDelegate::createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                                       const QModelIndex &index) const
{
    Q_UNUSED(option)
    if (!index.isValid() || !m_controller.beforeEdit(index.row(), index.column()))
        return nullptr; // the edit is cancelled
    auto *choices = new QComboBox(parent);
    choices->setObjectName(QStringLiteral("MappingChoice"));
    choices->addItems(m_controller.grid().comboList().split(u'|'));
    // A pick is the whole edit: hand it over and close, as the grid's own drop-down did.
    connect(choices, &QComboBox::activated, this, [this, choices] {
        auto *self = const_cast<MappingDelegate *>(this);
        Q_EMIT self->commitData(choices);
        Q_EMIT self->closeEditor(choices);
    });
    return choices;
}

void MappingDelegate::setEditorData(QWidget *editor, const QModelIndex &index) const
{
    auto *choices = qobject_cast<QComboBox *>(editor);
    if (!choices)
        return;
    const int at = choices->findText(index.data(Qt::EditRole).toString(), Qt::MatchFixedString);
    choices->setCurrentIndex(at);
}

void MappingDelegate::setModelData(QWidget *editor, QAbstractItemModel *model,
                                   const QModelIndex &index) const
{
    Q_UNUSED(model)
    auto *choices = qobject_cast<QComboBox *>(editor);
    if (!choices || choices->currentIndex() < 0)
        return;
    m_controller.afterEdit(index.row(), index.column(), choices->currentText());
}

} // namespace MGImport8

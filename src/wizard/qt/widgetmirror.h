#pragma once

#include <QAbstractButton>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QStringList>

namespace MGImport8::WidgetMirror {

// Controls show the wizard's state without firing their change signals back at it, and are only
// touched when the state differs (the import reports progress every few rows; a text box keeps its
// cursor while the user types).

inline void setText(QLabel *label, const QString &text)
{
    if (label->text() != text)
        label->setText(text);
}

inline void setText(QLineEdit *edit, const QString &text)
{
    if (edit->text() != text) {
        const QSignalBlocker quiet(edit);
        edit->setText(text);
    }
}

inline void setText(QAbstractButton *button, const QString &text)
{
    if (button->text() != text) {
        button->setText(text);
        // Read out as it now reads ("Import", "Done"), without the mnemonic's marker.
        button->setAccessibleName(QString(text).remove(u'&'));
    }
}

inline void setChecked(QAbstractButton *button, bool checked)
{
    if (button->isChecked() != checked) {
        const QSignalBlocker quiet(button);
        button->setChecked(checked);
    }
}

inline QStringList items(const QComboBox *combo)
{
    QStringList texts;
    texts.reserve(combo->count());
    for (int index = 0; index < combo->count(); ++index)
        texts.append(combo->itemText(index));
    return texts;
}

/// A drop-down's entries, and for one with free text its text.
inline void setItems(QComboBox *combo, const QStringList &entries)
{
    if (items(combo) == entries)
        return;
    const QSignalBlocker quiet(combo);
    const QString text = combo->currentText();
    combo->clear();
    combo->addItems(entries);
    if (combo->isEditable())
        combo->setEditText(text);
}

inline void setEditText(QComboBox *combo, const QString &text)
{
    if (combo->currentText() != text) {
        const QSignalBlocker quiet(combo);
        combo->setEditText(text);
    }
}

inline void setCurrentIndex(QComboBox *combo, int index)
{
    if (combo->currentIndex() != index) {
        const QSignalBlocker quiet(combo);
        combo->setCurrentIndex(index);
    }
}

} // namespace MGImport8::WidgetMirror

#pragma once

#include <QComboBox>

namespace MGImport8 {

/// A drop-down list that says when it is about to open, so its entries can be found first (the
/// servers on the network, the databases of a server).
class PopupComboBox : public QComboBox
{
    Q_OBJECT

public:
    using QComboBox::QComboBox;

    void showPopup() override;

Q_SIGNALS:
    void aboutToShowPopup();
};

} // namespace MGImport8

#pragma once
// The About box: the product name and version.

#include <QDialog>

class AboutBox : public QDialog {
    Q_OBJECT
public:
    explicit AboutBox(QWidget* parent = nullptr);
    ~AboutBox() override;
};

// Link anchor of the About box's window module.
bool import_PDFSkinWindow();

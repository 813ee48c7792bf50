#include "app/AboutBox.h"

#include "app/DSCProduct.h"
#include "ui_AboutBox.h"

AboutBox::AboutBox(QWidget* parent) : QDialog(parent) {
    Ui::AboutBox ui;
    ui.setupUi(this);
    ui.productName->setText(QString::fromLatin1(kDSCProductName));
    ui.productVersion->setText(tr("Version %1").arg(QString::fromLatin1(kDSCProductVersion)));
    setWindowTitle(tr("About %1").arg(QString::fromLatin1(kDSCProductName)));
}

AboutBox::~AboutBox() = default;

bool import_PDFSkinWindow() { return true; }

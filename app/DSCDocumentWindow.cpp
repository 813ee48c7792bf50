#include "app/DSCDocumentWindow.h"

#include <QCloseEvent>

void DSCDocumentWindow::closeEvent(QCloseEvent* event) {
    emit windowWillClose();
    event->accept();
}

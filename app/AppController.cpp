#include "app/AppController.h"

#include <QAction>
#include <QApplication>

#include "CoreX/CoreMachDebugLog.h"
#include "app/AboutBox.h"
#include "app/DSCDocument.h"
#include "app/DSCDocumentWindow.h"
#include "app/DSCProduct.h"

AppController::AppController() = default;

AppController::~AppController() { delete mDocument; }

void AppController::awakeFromNib() {
    VERIFY(import_PDFSkinWindow());
    if (_AboutAppMenuItem != nullptr) {
        // The trailing line feed belongs to the title.
        _AboutAppMenuItem->setText(
            QString::asprintf("About %s %s\n", kDSCProductName, kDSCProductVersion));
    }
}

void AppController::newDocument(QObject* sender) {
    if (DSCDocument::countInstances() != 0) {
        QApplication::beep();
        emit alertBeep();
        return;
    }
    // The closed document (if any) has finished its close path; a fresh one replaces it.
    delete mDocument;
    auto* document = new DSCDocument();
    mDocument = document;
    connect(document, &DSCDocument::documentClosed, document, &QObject::deleteLater);
    document->makeWindowControllers();
    emit documentOpened(document);
    document->showWindows();
}

void AppController::showAboutBox() {
    // On the heap, not the stack: the box is a child of the document window, and a window
    // closed while the box runs (SIGTERM, the session ending) is deleted by the box's own
    // event loop, its children with it. exec() survives that and deletes the box otherwise.
    auto* box = new AboutBox(mDocument != nullptr ? mDocument->window() : nullptr);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->exec();
}

void AppController::closeAllDocuments() {
    if (mDocument != nullptr && mDocument->window() != nullptr) {
        mDocument->window()->close();
    }
}

DSCDocument* AppController::currentDocument() const { return mDocument; }

#include "app/MainMenu.h"

#include <QAction>
#include <QApplication>
#include <QMenuBar>

#include "app/AppController.h"

MainMenu::MainMenu(AppController& controller) : QObject(&controller) {
    mNew = new QAction(tr("&New"), this);
    mNew->setShortcut(QKeySequence::New);
    mClose = new QAction(tr("&Close"), this);
    mClose->setShortcut(QKeySequence::Close);
    mQuit = new QAction(tr("&Quit"), this);
    mQuit->setShortcut(QKeySequence::Quit);
    mAbout = new QAction(tr("About"), this);
    mAbout->setMenuRole(QAction::AboutRole);

    connect(mNew, &QAction::triggered, &controller,
            [&controller, this] { controller.newDocument(mNew); });
    connect(mClose, &QAction::triggered, &controller, [] {
        if (QWidget* window = QApplication::activeWindow()) {
            window->close();
        }
    });
    connect(mQuit, &QAction::triggered, &controller, [&controller] {
        controller.closeAllDocuments();
        QApplication::quit();
    });
    connect(mAbout, &QAction::triggered, &controller, &AppController::showAboutBox);
    controller.setAboutAppMenuItem(mAbout);
}

void MainMenu::installInto(QMenuBar* menuBar) const {
    if (menuBar == nullptr) {
        return;
    }
    QMenu* file = menuBar->addMenu(tr("&File"));
    file->addAction(mNew);
    file->addAction(mClose);
    file->addSeparator();
    file->addAction(mQuit);
    QMenu* help = menuBar->addMenu(tr("&Help"));
    help->addAction(mAbout);
}

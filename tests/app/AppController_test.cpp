// The About title, one document at a time, and a fresh document after a close.

#include "app/AppController.h"

#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTimer>

#include <gtest/gtest.h>

#include "app/DSCDocument.h"
#include "app/DSCDocumentWindow.h"
#include "app/MainMenu.h"

namespace {

TEST(AppControllerTest, AboutItemTitleKeepsItsTrailingLineFeed) {
    AppController controller;
    MainMenu menu(controller);
    controller.awakeFromNib();
    ASSERT_EQ(controller.aboutAppMenuItem(), menu.aboutItem());
    EXPECT_EQ(menu.aboutItem()->text(), QString("About Duoscope 1.201\n"));
}

TEST(AppControllerTest, SecondNewBeepsAndAfterCloseNewOpensAFreshDocument) {
    AppController controller;
    QSignalSpy beeps(&controller, &AppController::alertBeep);
    QSignalSpy opened(&controller, &AppController::documentOpened);
    ASSERT_EQ(DSCDocument::countInstances(), 0);

    controller.newDocument(nullptr);
    EXPECT_EQ(DSCDocument::countInstances(), 1);
    EXPECT_EQ(opened.count(), 1);
    DSCDocument* first = controller.currentDocument();
    ASSERT_NE(first, nullptr);

    controller.newDocument(nullptr);
    EXPECT_EQ(beeps.count(), 1);
    EXPECT_EQ(DSCDocument::countInstances(), 1);
    EXPECT_EQ(controller.currentDocument(), first);

    first->window()->close();
    QApplication::processEvents();
    EXPECT_EQ(DSCDocument::countInstances(), 0);

    controller.newDocument(nullptr);
    EXPECT_EQ(DSCDocument::countInstances(), 1);
    EXPECT_EQ(opened.count(), 2);
    EXPECT_EQ(beeps.count(), 1);
    ASSERT_NE(controller.currentDocument(), nullptr);
    EXPECT_TRUE(controller.currentDocument()->camTimer()->isActive());
    controller.closeAllDocuments();
}

TEST(AppControllerTest, DocumentClosedWhileTheAboutBoxRunsEndsTheBoxWithoutACrash) {
    AppController controller;
    controller.newDocument(nullptr);
    ASSERT_NE(controller.currentDocument(), nullptr);
    // What SIGTERM does while the box is up: the window closes, and the box's event loop
    // deletes it together with its children, the box among them.
    QTimer::singleShot(100, &controller, [&controller] { controller.closeAllDocuments(); });
    // Only a safety net so a regression cannot hang the test.
    QTimer::singleShot(3000, &controller, [] {
        if (QWidget* modal = QApplication::activeModalWidget()) {
            modal->close();
        }
    });
    QElapsedTimer elapsed;
    elapsed.start();
    controller.showAboutBox();
    EXPECT_LT(elapsed.elapsed(), 2500) << "the box must end with its window";
    EXPECT_EQ(DSCDocument::countInstances(), 0);
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
}

}  // namespace

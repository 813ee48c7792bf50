// The About title, one document at a time, and a fresh document after a close.

#include "app/AppController.h"

#include <QAction>
#include <QApplication>
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

TEST(AppControllerTest, MissingAboutOutletIsSkipped) {
    AppController controller;
    controller.awakeFromNib();
    EXPECT_EQ(controller.aboutAppMenuItem(), nullptr);
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
    EXPECT_EQ(DSCDocument::countInstances(), 0);
}

}  // namespace

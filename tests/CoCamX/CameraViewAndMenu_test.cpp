// The eye views and their camera menus on the built-in test-pattern camera: what the menu
// lists and marks, what choosing an entry does to the grabber (including the choices that
// turn automatic re-opening off for good), the per-tick image and the drawing. How the
// grabber walks, loses and re-opens cameras is the grabber's own test.

#include <QApplication>
#include <QComboBox>
#include <QPixmap>
#include <QStandardItemModel>
#include <QThread>

#include <gtest/gtest.h>

#include "CoCamX/NSUICamMenuController.h"
#include "CoCamX/QCamGrabCGImageView.h"
#include "platform/capture/CaptureRegistry.h"
#include "platform/capture/TestPatternBackEnd.h"
#include "platform/imaging/CIContext.h"

namespace {

constexpr QSizeF kFrameSize(640, 480);

struct Eye {
    QComboBox popUp;
    QCamGrabCGImageView view;
    Eye() {
        view.resize(320, 240);
        view.setCameraPopUpButton(&popUp);
    }
    ~Eye() { view.cameraClose(); }
    NSUICamMenuController& menu() { return *view.cameraMenuController(); }
    QCameraGrabCGContext& grabber() { return view.cameraGrabber(); }

    // Titles from `first` on, "---" for a separator, or only the checked ones.
    QStringList Titles(int first, bool fCheckedOnly) const {
        QStringList titles;
        for (int row = first; row < popUp.count(); ++row) {
            bool const separator = popUp.itemData(row, Qt::AccessibleDescriptionRole).toString() ==
                                   QLatin1String("separator");
            if (!fCheckedOnly || popUp.itemData(row, Qt::CheckStateRole) == QVariant(Qt::Checked)) {
                titles << (separator ? QStringLiteral("---") : popUp.itemText(row));
            }
        }
        return titles;
    }
    QStringList Checked() const { return Titles(0, true); }
    std::string Current() {
        QSGDeviceList::InputIterator camera;
        return grabber().GetCurrentCamera(camera) ? PStr63ToString(camera.inputName) : "";
    }
    // Picks an entry as the user does; the view handles the controller's action.
    void Choose(QString const& title) {
        QObject::connect(&menu(), &NSUICamMenuController::action, &view,
                         &QCamGrabViewBase::cameraMenuChanged, Qt::UniqueConnection);
        int const row = popUp.findText(title, Qt::MatchExactly | Qt::MatchCaseSensitive);
        ASSERT_GE(row, 0) << title.toStdString();
        emit popUp.activated(row);
    }
};

// The test pattern starts plugged in; a test that unplugs it gets it back.
class CameraMenuTest : public ::testing::Test {
protected:
    void TearDown() override { TestPatternBackEnd::Plug(); }
};

TEST_F(CameraMenuTest, EachMenuMarksOnlyItsEyesCameraAsChoicesMoveItAndNoCameraStaysClosed) {
    Eye left, right;
    left.view.cameraOpen(kFrameSize, kFrameSize);
    right.view.cameraOpen(kFrameSize, kFrameSize);
    ASSERT_NE(right.grabber().mVideoChannel, nullptr);
    QStringList const entries = left.Titles(2, false);  // after the picture and separator rows
    EXPECT_EQ(entries.mid(0, 2), (QStringList{"No Camera", "---"}));
    EXPECT_TRUE(entries.contains("Test Pattern Left") && entries.contains("Test Pattern Right"));
    EXPECT_FALSE(left.popUp.model()->flags(left.popUp.model()->index(0, 0)) & Qt::ItemIsEnabled)
        << "the camera picture row is not a choice";
    for (Eye* eye : {&left, &right}) {
        QString const current = QString::fromStdString(eye->Current());
        EXPECT_EQ(eye->Checked(), QStringList{current}) << "exactly the running camera is marked";
        EXPECT_EQ(eye->popUp.currentText(), current);
        EXPECT_EQ(eye->menu().cameraDeviceInputName(), current);
    }

    // Another entry, and a step back, switch the grabber and move the mark.
    right.view.cameraClose();
    left.Choose("Test Pattern Right");
    EXPECT_EQ(left.Current(), "Test Pattern Right");
    EXPECT_EQ(left.Checked(), QStringList{"Test Pattern Right"});
    EXPECT_EQ(left.popUp.currentText(), "Test Pattern Right");
    EXPECT_TRUE(left.menu().usePrevCameraGrabberDevice(&left.grabber()));
    EXPECT_EQ(left.Checked(), QStringList{"Test Pattern Left"});

    // No Camera closes the camera and turns automatic re-opening off for good: picking a
    // camera again opens it, and the switch stays off.
    ASSERT_TRUE(left.grabber().mAutoOpenCameraPluggedIn);
    left.Choose("No Camera");
    EXPECT_EQ(left.grabber().mVideoChannel, nullptr);
    EXPECT_FALSE(left.grabber().mAutoOpenCameraPluggedIn);
    EXPECT_EQ(left.Checked(), QStringList{"No Camera"});
    left.Choose("Test Pattern Right");
    EXPECT_EQ(left.Current(), "Test Pattern Right");
    EXPECT_FALSE(left.grabber().mAutoOpenCameraPluggedIn);
}

TEST_F(CameraMenuTest, NoCameraAtOpenLeavesOnlyNoCameraMarkedAndNoReopening) {
    TestPatternBackEnd::Unplug();
    Eye eye;
    eye.view.cameraOpen(kFrameSize, kFrameSize);
    if (eye.grabber().mVideoChannel != nullptr) {
        GTEST_SKIP() << "a real camera is plugged into this machine";
    }
    EXPECT_FALSE(eye.grabber().mAutoOpenCameraPluggedIn);
    EXPECT_EQ(eye.menu().cameraDeviceInputName(), "No Camera");
    TestPatternBackEnd::Plug();
    eye.view.cameraMenuRefresh();
    EXPECT_EQ(eye.Checked(), QStringList{"No Camera"}) << "a refresh does not pick for the user";
}

double sFakeMicroseconds = 0.0;

TEST_F(CameraMenuTest, ACameraThatOpensButCannotStreamIsLetGoAndTriedAgain) {
    sFakeMicroseconds = 1e9;
    QCameraGrabberBase::SetMicrosecondsClock([] { return sFakeMicroseconds; });
    TestPatternBackEnd::SetStreamingRefused(true);
    Eye eye;
    eye.view.cameraOpen(kFrameSize, kFrameSize);
    TestPatternBackEnd::SetStreamingRefused(false);
    EXPECT_EQ(eye.grabber().mVideoChannel, nullptr) << "a camera that does not stream is not held";
    EXPECT_TRUE(eye.grabber().mAutoOpenCameraPluggedIn);

    // Once the bus has room, the next period's attempt streams.
    sFakeMicroseconds += 1.1e6;
    eye.view.cameraTimer(nullptr);  // asks the capture worker to open it
    CaptureRegistry::Shared().Opener().Drain();
    eye.view.cameraTimer(nullptr);
    QCameraGrabberBase::SetMicrosecondsClock(nullptr);
    ASSERT_NE(eye.grabber().mVideoChannel, nullptr);
    EXPECT_EQ(eye.grabber().GetFrameStatistics().framesDecoded, 1u);
}

QRgb CentrePixel(QWidget& view) {
    QImage const shot = view.grab().toImage();
    return shot.pixel(shot.width() / 4, shot.height() / 4);
}

TEST_F(CameraMenuTest, TheViewsImagesShareOrCopyTheFrameAndItDrawsTheFrameOrTheIndicator) {
    Eye eye;
    eye.view.cameraOpen(kFrameSize, kFrameSize);
    ASSERT_NE(eye.grabber().mVideoChannel, nullptr);
    for (int tick = 0; tick < 60 && eye.grabber().GetFrameStatistics().framesDecoded == 0; ++tick) {
        eye.view.cameraTimer(nullptr);
        QThread::msleep(10);
    }
    ASSERT_GT(eye.grabber().GetFrameStatistics().framesDecoded, 0u);
    CoreGraphics::BitmapContext const& frame = eye.view.cameraBitmapContext();
    CIImage const copy = eye.view.cameraImage();
    EXPECT_EQ(copy.extent(), QRectF(0, 0, 640, 480));
    QImage const shared = eye.view.cameraImageRef();
    EXPECT_EQ(shared.constBits(), frame.mImageDataBytes) << "the per-tick image shares memory";
    QImage const before = CIContext::createQImage(copy, copy.extent());

    // A later grab writes the frame buffer: here a known picture, pure green.
    QImage(frame.mImageDataBytes, frame.mImageWidth, frame.mImageHeight, frame.mImageRowBytes,
           QImage::Format_ARGB32)
        .fill(0xFF00FF00u);
    EXPECT_EQ(CIContext::createQImage(copy, copy.extent()), before)
        << "cameraImage must not change with the frame buffer";
    eye.view.setCameraImageRef(frame.ConstructCGImage());
    EXPECT_EQ(CentrePixel(eye.view), qRgb(0, 255, 0));

    eye.view.cameraClose();
    QRgb const indicator = CentrePixel(eye.view);
    EXPECT_NE(indicator, qRgb(0, 255, 0)) << "a closed camera shows the indicator";
    EXPECT_NEAR(qRed(indicator), 42, 3) << "half-veiled grey over black";
    EXPECT_EQ(qRed(indicator), qGreen(indicator));
}

}  // namespace

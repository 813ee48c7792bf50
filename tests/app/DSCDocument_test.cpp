// The master clock: what one tick calls and in which order, the broadcast re-entry guard,
// the 30 Hz rate, and the close path.

#include "app/DSCDocument.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QImage>
#include <QLabel>
#include <QSignalSpy>
#include <QTimer>

#include <gtest/gtest.h>

#include "CoCamX/NSUICICameraControls.h"
#include "CoCamX/NSUICamMenuController.h"
#include "CoCamX/NSUIControls.h"
#include "CoCamX/NSUIStereoAlignControl.h"
#include "CoCamX/QCamGrabCGImageView.h"
#include "app/DSCBroadcastControl.h"
#include "app/DSCDocumentWindow.h"
#include "app/DSCStereoView.h"
#include "platform/capture/CaptureRegistry.h"
#include "platform/capture/TestPatternBackEnd.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/imaging/CIContext.h"
#include "tests/support/TestEnvironment.h"

namespace {

using CallLog = std::vector<std::string>;

class RecordingEyeView : public QCamGrabCGImageView {
public:
    RecordingEyeView(CallLog& log, std::string name) : mLog(log), mName(std::move(name)) {}
    bool cameraGrab() override {
        mLog.push_back(mName + ".cameraGrab");
        return QCamGrabCGImageView::cameraGrab();
    }
    void cameraShowFrame() override {
        mLog.push_back(mName + ".cameraShowFrame");
        QCamGrabCGImageView::cameraShowFrame();
    }

private:
    CallLog& mLog;
    std::string mName;
};

class RecordingStereoView : public DSCStereoView {
public:
    explicit RecordingStereoView(CallLog& log) : mLog(log) {}
    void setNeedsDisplay(bool needsDisplay) override { mLog.push_back("stereo.setNeedsDisplay"); }
    CIImage monitorImage() const override {
        mLog.push_back("stereo.monitorImage");
        return mImage;
    }
    CIImage mImage;

private:
    CallLog& mLog;
};

class RecordingBroadcast : public DSCBroadcastControl {
public:
    explicit RecordingBroadcast(CallLog& log) : mLog(log) {
        mContext = CIContext::contextWithBitmap(mPixels, 8, 8, 8 * 4);
    }
    bool isBroadcastEnabled() const override {
        mLog.push_back("broadcast.isBroadcastEnabled");
        return mEnabled;
    }
    bool isBroadcasting() const override {
        mLog.push_back("broadcast.isBroadcasting");
        return true;
    }
    CIContext* currentCIContext() const override {
        mLog.push_back("broadcast.currentCIContext");
        return mContext.get();
    }
    CIContext* beginSwitchContexts() override {
        mLog.push_back("broadcast.beginSwitchContexts");
        if (onBegin) {
            onBegin();
        }
        return mContext.get();
    }
    bool endSwitchContexts() override {
        mLog.push_back("broadcast.endSwitchContexts");
        return true;
    }
    bool setFrameSize(QSize size) override {
        mLog.push_back("broadcast.setFrameSize");
        return size.width() <= 8 && size.height() <= 8;
    }

    bool mEnabled = true;
    std::function<void()> onBegin;
    uint32_t mPixels[64] = {};

private:
    CallLog& mLog;
    std::unique_ptr<CIContext> mContext;
};

CIImage SolidImage(int width, int height, uint32_t argb) {
    std::vector<uint32_t> pixels(static_cast<size_t>(width * height), argb);
    return CIImage::imageWithARGBData(pixels.data(), width, height, width * 4);
}

struct Rig {
    CallLog log;
    RecordingEyeView left{log, "left"};
    RecordingEyeView right{log, "right"};
    RecordingStereoView stereo{log};
    RecordingBroadcast broadcast{log};
    DSCDocument document;
    Rig() { document.setOutlets(&left, &right, &stereo, &broadcast); }
};

TEST(MasterClockTick, GrabsLeftThenRightThenRedrawsThenBroadcastsTheKeptImage) {
    Rig rig;
    rig.stereo.mImage = SolidImage(4, 2, 0xFF102030u);
    rig.document.masterTimeClock(nullptr);
    // Both eyes grab before either shows, so that their frames are paired in time.
    CallLog const expected = {"left.cameraGrab",
                              "right.cameraGrab",
                              "left.cameraShowFrame",
                              "right.cameraShowFrame",
                              "stereo.setNeedsDisplay",
                              "stereo.monitorImage",
                              "broadcast.isBroadcastEnabled",
                              "broadcast.isBroadcasting",
                              "broadcast.setFrameSize",
                              "broadcast.currentCIContext",
                              "broadcast.beginSwitchContexts",
                              "broadcast.endSwitchContexts"};
    EXPECT_EQ(rig.log, expected);
    // The image lands unscaled at the buffer's origin.
    EXPECT_EQ(rig.broadcast.mPixels[0], 0xFF102030u);
    EXPECT_EQ(rig.broadcast.mPixels[8 + 3], 0xFF102030u);
    EXPECT_EQ(rig.broadcast.mPixels[4], 0u);
    EXPECT_EQ(rig.broadcast.mPixels[2 * 8], 0u);
    EXPECT_EQ(rig.document.broadcastFrameDepth(), 0);
}

TEST(MasterClockTick, NothingIsBroadcastBeforeTheMonitorHasDrawnOrWhenDisabled) {
    Rig rig;
    rig.document.masterTimeClock(nullptr);
    EXPECT_EQ(rig.log, (CallLog{"left.cameraGrab", "right.cameraGrab", "left.cameraShowFrame",
                                "right.cameraShowFrame", "stereo.setNeedsDisplay",
                                "stereo.monitorImage"}));
    rig.log.clear();
    rig.stereo.mImage = SolidImage(2, 2, 0xFFFFFFFFu);
    rig.broadcast.mEnabled = false;
    rig.document.masterTimeClock(nullptr);
    EXPECT_EQ(rig.log.back(), "broadcast.isBroadcastEnabled");
    EXPECT_EQ(rig.broadcast.mPixels[0], 0u);
}

TEST(MasterClockTick, ABroadcastArrivingDuringABroadcastIsDroppedWithoutDrawing) {
    Rig rig;
    rig.stereo.mImage = SolidImage(2, 2, 0xFF0000FFu);
    CIImage const second = SolidImage(8, 8, 0xFFFF0000u);
    int nestedDepth = -1;
    rig.broadcast.onBegin = [&] {
        std::size_t const before = rig.log.size();
        rig.document.cameraBroadcastFrame(second);  // as from a nested event loop
        nestedDepth = rig.document.broadcastFrameDepth();
        EXPECT_EQ(rig.log.size(), before) << "the nested call must return before asking anything";
    };
    rig.document.masterTimeClock(nullptr);
    EXPECT_EQ(nestedDepth, 1);
    EXPECT_EQ(rig.document.broadcastFrameDepth(), 0);
    EXPECT_EQ(rig.broadcast.mPixels[0], 0xFF0000FFu);
    EXPECT_EQ(rig.broadcast.mPixels[7 * 8 + 7], 0u) << "the nested frame must not be drawn";
}

TEST(MasterClockTick, CameraMenuChangesFromUnknownSendersChangeNothing) {
    Rig rig;
    rig.document.stereoGrabCameraMenuChanged(nullptr);
    EXPECT_TRUE(rig.log.empty());
}

class DocumentWindowTest : public ::testing::Test {
protected:
    void TearDown() override {
        if (mDocument != nullptr && mDocument->window() != nullptr) {
            mDocument->window()->close();
        }
        delete mDocument;
        QApplication::processEvents();
    }
    DSCDocument* Open() {
        mDocument = new DSCDocument();
        mDocument->makeWindowControllers();
        mDocument->showWindows();
        return mDocument;
    }
    DSCDocument* mDocument = nullptr;
};

TEST_F(DocumentWindowTest, WindowIsTitledAndCountedAndItsCloseStopsTheClock) {
    int const before = DSCDocument::countInstances();
    DSCDocument* document = Open();
    EXPECT_EQ(document->window()->windowTitle(), "Duoscope");
    EXPECT_EQ(DSCDocument::countInstances(), before + 1);
    ASSERT_NE(document->camTimer(), nullptr);
    EXPECT_TRUE(document->camTimer()->isActive());

    auto* left = document->window()->findChild<QCamGrabCGImageView*>("leftEyeView");
    auto* right = document->window()->findChild<QCamGrabCGImageView*>("rightEyeView");
    ASSERT_NE(left->cameraGrabber().mVideoChannel, nullptr);
    ASSERT_NE(right->cameraGrabber().mVideoChannel, nullptr);

    QSignalSpy closed(document, &DSCDocument::documentClosed);
    document->window()->close();
    EXPECT_EQ(closed.count(), 1);
    EXPECT_EQ(DSCDocument::countInstances(), before);
    EXPECT_EQ(document->camTimer(), nullptr) << "no timer may fire after the close";
    // The views go later with the window; their cameras are let go by the close itself.
    EXPECT_EQ(left->cameraGrabber().mVideoChannel, nullptr);
    EXPECT_EQ(right->cameraGrabber().mVideoChannel, nullptr);
    EXPECT_FALSE(left->cameraGrabber().mComponent);
    EXPECT_FALSE(right->cameraGrabber().mComponent);
}

TEST_F(DocumentWindowTest, ClockKeepsTickingInAModalDialog) {
    DSCDocument* document = Open();
    QSignalSpy ticks(document->camTimer(), &QTimer::timeout);
    ASSERT_TRUE(ticks.wait(5000)) << "the clock runs";  // past the cameras' first frames
    ticks.clear();
    QDialog dialog(document->window());
    QTimer::singleShot(1000, &dialog, &QDialog::accept);
    dialog.exec();  // a nested event loop, as a modal panel runs
    // The rate itself is measured in MasterClock_bench; here the clock must not stop while
    // the dialog runs (30 ticks are due; a loaded sanitizer build still gives a few).
    EXPECT_GE(ticks.count(), 2);
}

class BroadcastSwitchTest : public DocumentWindowTest {
protected:
    void TearDown() override {
        DocumentWindowTest::TearDown();
        UserDefaults::standard().removeKey("_rebroadcastButton");
        UserDefaults::standard().removeKey("_allowCameraButton");
    }
    QAbstractButton* Button(char const* name) {
        return mDocument->window()->findChild<QAbstractButton*>(name);
    }
};

TEST_F(BroadcastSwitchTest, SwitchesAreStoredByTheCloseAndTakenBackByTheNextWindow) {
    Open();
    ASSERT_NE(Button("rebroadcastButton"), nullptr);
    ASSERT_NE(Button("allowCameraButton"), nullptr);
    EXPECT_FALSE(Button("rebroadcastButton")->isChecked()) << "broadcasting starts off";
    EXPECT_TRUE(Button("allowCameraButton")->isChecked()) << "connections start allowed";
    Button("rebroadcastButton")->setChecked(true);
    Button("allowCameraButton")->click();

    mDocument->window()->close();
    EXPECT_EQ(UserDefaults::standard().numberForKey("_rebroadcastButton"), 1.0);
    EXPECT_EQ(UserDefaults::standard().numberForKey("_allowCameraButton"), 0.0);
    delete mDocument;
    mDocument = nullptr;
    QApplication::processEvents();

    Open();
    EXPECT_TRUE(Button("rebroadcastButton")->isChecked());
    EXPECT_FALSE(Button("allowCameraButton")->isChecked());
}

TEST_F(DocumentWindowTest, EachEyesAdjustmentsMonitorTypeAndStereoFormatComeBackAsTheyWereLeft) {
    auto const panel = [this](char const* name) {
        return mDocument->window()->findChild<NSUICameraAdjustPanel*>(name)->controls()->outlets();
    };
    Open();
    panel("leftAdjustPanel").exposureSlider->setDoubleValue(0.5);
    panel("leftAdjustPanel").mirrorImageY->setState(1);
    auto* monitor = mDocument->window()->findChild<DSCStereoView*>("stereoView");
    monitor->setMonitorImageType(DSCStereoView::kMonitorRightEye);
    monitor->setStereoFormat(CIVIZStereoFormat::kCheckerboard);
    auto const convergence = [this] {
        return mDocument->window()->findChild<NSUIStereoAlignControl*>("stereoAlign");
    };
    convergence()->setConvergence(9);
    int const writes = UserDefaults::standard().saveCount();
    mDocument->window()->close();
    EXPECT_EQ(UserDefaults::standard().saveCount(), writes + 1) << "one write for everything";
    delete mDocument;
    mDocument = nullptr;
    QApplication::processEvents();

    Open();
    EXPECT_EQ(panel("leftAdjustPanel").exposureSlider->doubleValue(), 0.5);
    EXPECT_EQ(panel("leftAdjustPanel").mirrorImageY->state(), 1);
    EXPECT_EQ(panel("rightAdjustPanel").exposureSlider->doubleValue(), 0.0);
    EXPECT_EQ(panel("rightAdjustPanel").mirrorImageY->state(), 0);
    monitor = mDocument->window()->findChild<DSCStereoView*>("stereoView");
    EXPECT_EQ(monitor->monitorImageType(), DSCStereoView::kMonitorRightEye);
    EXPECT_EQ(monitor->stereoFormat(), CIVIZStereoFormat::kCheckerboard);
    EXPECT_EQ(convergence()->convergence(), 9);
    auto const shift = [this](char const* name) {
        return mDocument->window()
            ->findChild<NSUICameraAdjustPanel*>(name)
            ->controls()
            ->horizontalShift();
    };
    EXPECT_EQ(shift("rightAdjustPanel") - shift("leftAdjustPanel"), 9.0) << "whole pixels apart";

    // Back to the factory settings for the tests after this one.
    convergence()->setConvergence(0);
    panel("leftAdjustPanel").mirrorImageY->setState(0);
    panel("leftAdjustPanel").exposureSlider->setDoubleValue(0.0);
    monitor->setMonitorImageType(DSCStereoView::kMonitorCombined);
    monitor->setStereoFormat(CIVIZStereoFormat::kRedCyanDubois);
}

// The picture a second process reads from the virtual camera now, or a null image.
QImage Snapshot(int* exitCode = nullptr) {
    std::string const path = TestEnvironment::Home() + "/snapshot.png";
    std::remove(path.c_str());
    int const status = std::system((DUOSCOPE_CAM_TOOL " --snapshot " + path + " 2>/dev/null").c_str());
    if (exitCode != nullptr) {
        *exitCode = WEXITSTATUS(status);
    }
    return QImage(QString::fromStdString(path)).convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

TEST_F(BroadcastSwitchTest, AReaderProcessSeesTheMonitorPictureAndTheSwitchesTakeEffect) {
    UserDefaults::standard().setNumber("_rebroadcastButton", 1);
    Open();
    DSCStereoView* stereo = mDocument->window()->findChild<DSCStereoView*>("stereoView");
    mDocument->camTimer()->stop();  // ticks by hand, so the monitor holds still between them
    auto const tick = [&] {
        mDocument->masterTimeClock(nullptr);
        QApplication::processEvents();
    };
    auto const monitor = [&] {
        return CIContext::createQImage(stereo->monitorImage(), QRectF(0, 0, 640, 480))
            .convertToFormat(QImage::Format_ARGB32_Premultiplied);
    };
    for (int type : {DSCStereoView::kMonitorCombined, DSCStereoView::kMonitorLeftEye}) {
        stereo->setMonitorImageType(type);
        // Within two ticks the broadcast frame is the monitor's picture in the new mode. (The
        // monitor image renders the eyes' current frames, which only the next tick changes.)
        tick();
        tick();
        EXPECT_EQ(Snapshot(), monitor()) << "monitor type " << type;
    }

    Button("allowCameraButton")->click();
    int exitCode = 0;
    EXPECT_TRUE(Snapshot(&exitCode).isNull());
    EXPECT_EQ(exitCode, 3) << "the reader says connections are not allowed";

    std::string const link = TestEnvironment::Home() + "/.local/share/duoscope/components/" +
                             "Duoscope_XXX.component";
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    mDocument->window()->close();
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(link)))
        << "quitting while broadcasting removes the install";
}

std::string CurrentCamera(QCamGrabCGImageView* eye) {
    QSGDeviceList::InputIterator camera;
    return eye->cameraGrabber().GetCurrentCamera(camera) ? PStr63ToString(camera.inputName) : "";
}

class CameraChoiceTest : public DocumentWindowTest {
protected:
    void TearDown() override {
        DocumentWindowTest::TearDown();
        UserDefaults::standard().removeKey("_grabViewLeftEye");
        UserDefaults::standard().removeKey("_grabViewRightEye");
    }
    QCamGrabCGImageView* EyeView(char const* name) {
        return mDocument->window()->findChild<QCamGrabCGImageView*>(name);
    }
};

TEST_F(CameraChoiceTest, EyesOpenTheFirstFreeCamerasAndAMenuChoiceIsStoredAndRefreshesTheOther) {
    Open();
    QCamGrabCGImageView* left = EyeView("leftEyeView");
    QCamGrabCGImageView* right = EyeView("rightEyeView");
    ASSERT_NE(left, nullptr);
    EXPECT_EQ(CurrentCamera(left), "Test Pattern Left");
    EXPECT_EQ(CurrentCamera(right), "Test Pattern Right");

    // The user picks "No Camera" for the left eye.
    left->cameraMenuController()->cameraSelectionChanged("No Camera");
    EXPECT_EQ(left->cameraGrabber().mVideoChannel, nullptr);
    EXPECT_EQ(UserDefaults::standard().stringForKey("_grabViewLeftEye"), "No Camera");
    EXPECT_FALSE(UserDefaults::standard().hasKey("_grabViewRightEye"));
    EXPECT_EQ(right->cameraPopUpButton()->currentText(), "Test Pattern Right");
}

TEST_F(CameraChoiceTest, StoredChoicesAreTakenBackAtOpeningEvenWhenTheEyesHadThemCrossed) {
    UserDefaults::standard().setString("_grabViewLeftEye", "Test Pattern Right");
    UserDefaults::standard().setString("_grabViewRightEye", "Test Pattern Left");
    Open();
    QCamGrabCGImageView* left = EyeView("leftEyeView");
    QCamGrabCGImageView* right = EyeView("rightEyeView");
    EXPECT_EQ(CurrentCamera(left), "Test Pattern Right");
    EXPECT_EQ(CurrentCamera(right), "Test Pattern Left");
    EXPECT_EQ(left->cameraPopUpButton()->currentText(), "Test Pattern Right");
    EXPECT_EQ(right->cameraPopUpButton()->currentText(), "Test Pattern Left");
}

TEST_F(CameraChoiceTest, OneStoredChoiceTakenFromTheOtherEyeLeavesItTheFreeCamera) {
    UserDefaults::standard().setString("_grabViewLeftEye", "Test Pattern Right");
    Open();
    EXPECT_EQ(CurrentCamera(EyeView("leftEyeView")), "Test Pattern Right");
    EXPECT_EQ(CurrentCamera(EyeView("rightEyeView")), "Test Pattern Left");
}

TEST_F(CameraChoiceTest, AStoredChoiceThatCannotBeTakenAtOpeningIsKeptForTheNextRun) {
    // The right eye's camera is not plugged in this time.
    UserDefaults::standard().setString("_grabViewRightEye", "Unplugged Camera");
    Open();
    EXPECT_EQ(CurrentCamera(EyeView("rightEyeView")), "Test Pattern Right");
    EXPECT_EQ(UserDefaults::standard().stringForKey("_grabViewRightEye"), "Unplugged Camera");
    EXPECT_FALSE(UserDefaults::standard().hasKey("_grabViewLeftEye"));
}

TEST_F(CameraChoiceTest, PickingTheCameraTheOtherEyeHoldsStoresThatCameraNotNoCamera) {
    Open();
    QCamGrabCGImageView* right = EyeView("rightEyeView");
    ASSERT_EQ(CurrentCamera(EyeView("leftEyeView")), "Test Pattern Left");
    // The left eye holds it, so the right eye cannot open it now; the pick still stands.
    right->cameraMenuController()->cameraSelectionChanged("Test Pattern Left");
    EXPECT_EQ(UserDefaults::standard().stringForKey("_grabViewRightEye"), "Test Pattern Left");
}

TEST_F(CameraChoiceTest, MenusFollowCamerasComingAndGoingWhileNoEyeHoldsOne) {
    Open();
    QCamGrabCGImageView* left = EyeView("leftEyeView");
    QCamGrabCGImageView* right = EyeView("rightEyeView");
    left->cameraMenuController()->cameraSelectionChanged("No Camera");
    right->cameraMenuController()->cameraSelectionChanged("No Camera");
    TestPatternBackEnd::Unplug();
    mDocument->masterTimeClock(nullptr);
    EXPECT_EQ(left->cameraPopUpButton()->findText("Test Pattern Left"), -1);
    TestPatternBackEnd::Plug();
    mDocument->masterTimeClock(nullptr);
    EXPECT_NE(right->cameraPopUpButton()->findText("Test Pattern Right"), -1);
    // Each eye's status line says what it has.
    auto* status = mDocument->window()->findChild<QLabel*>("rightEyeStatus");
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(status->text(), "Right eye: no camera");
}

double sFakeMicroseconds = 1e9;

TEST_F(CameraChoiceTest, MenusFollowACameraThatVanishesAndComesBackByItself) {
    QCameraGrabberBase::SetMicrosecondsClock([] { return sFakeMicroseconds; });
    Open();
    QCamGrabCGImageView* left = EyeView("leftEyeView");
    QCamGrabCGImageView* right = EyeView("rightEyeView");
    ASSERT_EQ(left->cameraPopUpButton()->currentText(), "Test Pattern Left");

    TestPatternBackEnd::Unplug();
    mDocument->masterTimeClock(nullptr);
    EXPECT_EQ(left->cameraPopUpButton()->currentText(), "No Camera");
    EXPECT_EQ(right->cameraPopUpButton()->currentText(), "No Camera");
    EXPECT_EQ(left->cameraPopUpButton()->findText("Test Pattern Left"), -1)
        << "an unplugged camera is no longer offered";

    TestPatternBackEnd::Plug();
    sFakeMicroseconds += 1.5e6;
    mDocument->masterTimeClock(nullptr);  // the capture worker is asked to open them
    CaptureRegistry::Shared().Opener().Drain();
    mDocument->masterTimeClock(nullptr);
    EXPECT_EQ(left->cameraPopUpButton()->currentText(), "Test Pattern Left");
    EXPECT_EQ(right->cameraPopUpButton()->currentText(), "Test Pattern Right");
    QCameraGrabberBase::SetMicrosecondsClock(nullptr);
}

}  // namespace

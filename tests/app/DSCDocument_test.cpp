// The document: what one clock tick calls and in which order, the broadcast re-entry guard,
// the clock in a modal dialog, the close path, the window's stored settings, the broadcast a
// reader process sees, and the camera choices of the two eyes.

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

struct RecordingEyeView : QCamGrabCGImageView {
    RecordingEyeView(CallLog& log, std::string name) : mLog(log), mName(std::move(name)) {}
    bool cameraGrab() override {
        mLog.push_back(mName + ".cameraGrab");
        return QCamGrabCGImageView::cameraGrab();
    }
    void cameraShowFrame() override {
        mLog.push_back(mName + ".cameraShowFrame");
        QCamGrabCGImageView::cameraShowFrame();
    }
    CallLog& mLog;
    std::string mName;
};

struct RecordingStereoView : DSCStereoView {
    explicit RecordingStereoView(CallLog& log) : mLog(log) {}
    void setNeedsDisplay(bool needsDisplay) override { mLog.push_back("stereo.setNeedsDisplay"); }
    CIImage monitorImage() const override {
        mLog.push_back("stereo.monitorImage");
        return mImage;
    }
    CIImage mImage;
    CallLog& mLog;
};

struct RecordingBroadcast : DSCBroadcastControl {
    explicit RecordingBroadcast(CallLog& log) : mLog(log) {}
    bool isBroadcastEnabled() const override { return mEnabled; }
    bool isBroadcasting() const override { return true; }
    CIContext* currentCIContext() const override { return mContext.get(); }
    CIContext* beginSwitchContexts() override {
        mLog.push_back("broadcast.beginSwitchContexts");
        onBegin();
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
    std::function<void()> onBegin = [] {};
    uint32_t mPixels[64] = {};
    CallLog& mLog;
    std::unique_ptr<CIContext> mContext = CIContext::contextWithBitmap(mPixels, 8, 8, 8 * 4);
};

CIImage SolidImage(int width, int height, uint32_t argb) {
    std::vector<uint32_t> pixels(static_cast<size_t>(width * height), argb);
    return CIImage::imageWithARGBData(pixels.data(), width, height, width * 4);
}

struct Rig {
    CallLog log;
    RecordingEyeView left{log, "left"}, right{log, "right"};
    RecordingStereoView stereo{log};
    RecordingBroadcast broadcast{log};
    DSCDocument document;
    Rig() { document.setOutlets(&left, &right, &stereo, &broadcast); }
};

TEST(MasterClockTick, GrabsBothEyesThenRedrawsThenBroadcastsTheMonitorPictureOnceThereIsOne) {
    Rig rig;
    rig.document.masterTimeClock(nullptr);
    // Both eyes grab before either shows, so that their frames are paired in time; nothing is
    // broadcast before the monitor has drawn.
    CallLog const tick = {"left.cameraGrab", "right.cameraGrab", "left.cameraShowFrame",
                          "right.cameraShowFrame", "stereo.setNeedsDisplay", "stereo.monitorImage"};
    EXPECT_EQ(rig.log, tick);
    rig.log.clear();
    rig.stereo.mImage = SolidImage(4, 2, 0xFF102030u);
    rig.document.masterTimeClock(nullptr);
    CallLog broadcast = tick;
    broadcast.insert(broadcast.end(), {"broadcast.setFrameSize", "broadcast.beginSwitchContexts",
                                       "broadcast.endSwitchContexts"});
    EXPECT_EQ(rig.log, broadcast);
    // The image lands unscaled at the buffer's origin.
    for (int i = 0; i < 64; ++i) {
        EXPECT_EQ(rig.broadcast.mPixels[i], i < 2 * 8 && i % 8 < 4 ? 0xFF102030u : 0u) << i;
    }

    // Switched off, the broadcast is not even asked for a frame size.
    rig.log.clear();
    rig.broadcast.mEnabled = false;
    rig.document.masterTimeClock(nullptr);
    EXPECT_EQ(rig.log, tick);
}

TEST(MasterClockTick, ABroadcastArrivingDuringABroadcastIsDroppedWithoutDrawing) {
    Rig rig;
    rig.stereo.mImage = SolidImage(2, 2, 0xFF0000FFu);
    CIImage const second = SolidImage(8, 8, 0xFFFF0000u);
    rig.broadcast.onBegin = [&] {
        std::size_t const before = rig.log.size();
        rig.document.cameraBroadcastFrame(second);  // as from a nested event loop
        EXPECT_EQ(rig.document.broadcastFrameDepth(), 1);
        EXPECT_EQ(rig.log.size(), before) << "the nested call must return before asking anything";
    };
    rig.document.masterTimeClock(nullptr);  // the outer frame drawn below shows this ran
    EXPECT_EQ(rig.document.broadcastFrameDepth(), 0);
    EXPECT_EQ(rig.broadcast.mPixels[0], 0xFF0000FFu);
    EXPECT_EQ(rig.broadcast.mPixels[7 * 8 + 7], 0u) << "the nested frame must not be drawn";
}

// A window on the test-pattern cameras; what a test stores is removed after it.
class DocumentWindowTest : public ::testing::Test {
protected:
    void TearDown() override {
        Close();
        QCameraGrabberBase::SetMicrosecondsClock(nullptr);
        for (char const* key : {"_rebroadcastButton", "_allowCameraButton", "_grabViewLeftEye",
                                "_grabViewRightEye"}) {
            UserDefaults::standard().removeKey(key);
        }
    }
    DSCDocument* Open() {
        mDocument = new DSCDocument();
        mDocument->makeWindowControllers();
        mDocument->showWindows();
        mLeft = Find<QCamGrabCGImageView>("leftEyeView");
        mRight = Find<QCamGrabCGImageView>("rightEyeView");
        return mDocument;
    }
    void Close() {
        if (mDocument != nullptr && mDocument->window() != nullptr) {
            mDocument->window()->close();
        }
        delete mDocument;
        mDocument = nullptr;
        QApplication::processEvents();
    }
    template <typename Child>
    Child* Find(char const* name) {
        return mDocument->window()->findChild<Child*>(name);
    }
    QAbstractButton* Button(char const* name) { return Find<QAbstractButton>(name); }
    DSCDocument* mDocument = nullptr;
    QCamGrabCGImageView* mLeft = nullptr;
    QCamGrabCGImageView* mRight = nullptr;
};

// The count of open documents and the running clock are the controller's test.
TEST_F(DocumentWindowTest, ClockKeepsTickingInAModalDialogAndTheCloseStopsItAndLetsCamerasGo) {
    DSCDocument* document = Open();
    EXPECT_EQ(document->window()->windowTitle(), "Duoscope");
    QSignalSpy ticks(document->camTimer(), &QTimer::timeout);
    ASSERT_TRUE(ticks.wait(5000)) << "the clock runs";  // past the cameras' first frames
    ticks.clear();
    QDialog dialog(document->window());
    QTimer::singleShot(1000, &dialog, &QDialog::accept);
    dialog.exec();  // a nested event loop, as a modal panel runs
    // The rate itself is measured in MasterClock_bench; here the clock must not stop while
    // the dialog runs (30 ticks are due; a loaded sanitizer build still gives a few).
    EXPECT_GE(ticks.count(), 2);

    ASSERT_NE(mLeft->cameraGrabber().mVideoChannel, nullptr);
    ASSERT_NE(mRight->cameraGrabber().mVideoChannel, nullptr);

    QSignalSpy closed(document, &DSCDocument::documentClosed);
    document->window()->close();
    EXPECT_EQ(closed.count(), 1);
    EXPECT_EQ(document->camTimer(), nullptr) << "no timer may fire after the close";
    // The views go later with the window; their cameras are let go by the close itself.
    for (QCamGrabCGImageView* eye : {mLeft, mRight}) {
        EXPECT_EQ(eye->cameraGrabber().mVideoChannel, nullptr);
        EXPECT_FALSE(eye->cameraGrabber().mComponent);
    }
}

// The broadcast switches, each eye's adjustments, the monitor type, the stereo format and the
// convergence are written once by the close and taken back by the next window.
TEST_F(DocumentWindowTest, TheWindowsSettingsComeBackAsTheyWereLeft) {
    auto const panel = [this](char const* name) {
        return Find<NSUICameraAdjustPanel>(name)->controls();
    };
    Open();
    EXPECT_FALSE(Button("rebroadcastButton")->isChecked()) << "broadcasting starts off";
    Button("rebroadcastButton")->setChecked(true);
    Button("allowCameraButton")->click();  // from allowed, as connections start
    panel("leftAdjustPanel")->outlets().exposureSlider->setDoubleValue(0.5);
    Find<DSCStereoView>("stereoView")->setMonitorImageType(DSCStereoView::kMonitorRightEye);
    Find<DSCStereoView>("stereoView")->setStereoFormat(CIVIZStereoFormat::kCheckerboard);
    Find<NSUIStereoAlignControl>("stereoAlign")->setConvergence(9);
    int const writes = UserDefaults::standard().saveCount();
    mDocument->window()->close();
    EXPECT_EQ(UserDefaults::standard().saveCount(), writes + 1) << "one write for everything";
    EXPECT_EQ(UserDefaults::standard().numberForKey("_rebroadcastButton"), 1.0);
    EXPECT_EQ(UserDefaults::standard().numberForKey("_allowCameraButton"), 0.0);
    Close();

    Open();
    EXPECT_TRUE(Button("rebroadcastButton")->isChecked());
    EXPECT_FALSE(Button("allowCameraButton")->isChecked());
    EXPECT_EQ(panel("leftAdjustPanel")->outlets().exposureSlider->doubleValue(), 0.5);
    EXPECT_EQ(panel("rightAdjustPanel")->outlets().exposureSlider->doubleValue(), 0.0);
    auto* monitor = Find<DSCStereoView>("stereoView");
    EXPECT_EQ(monitor->monitorImageType(), DSCStereoView::kMonitorRightEye);
    EXPECT_EQ(monitor->stereoFormat(), CIVIZStereoFormat::kCheckerboard);
    EXPECT_EQ(Find<NSUIStereoAlignControl>("stereoAlign")->convergence(), 9);
    EXPECT_EQ(panel("rightAdjustPanel")->horizontalShift() -
                  panel("leftAdjustPanel")->horizontalShift(),
              9.0)
        << "whole pixels apart";

    // Back to the factory settings for the tests after this one.
    Find<NSUIStereoAlignControl>("stereoAlign")->setConvergence(0);
    panel("leftAdjustPanel")->outlets().exposureSlider->setDoubleValue(0.0);
    monitor->setMonitorImageType(DSCStereoView::kMonitorCombined);
    monitor->setStereoFormat(CIVIZStereoFormat::kRedCyanDubois);
}

// The picture a second process reads from the virtual camera now, or a null image.
QImage Snapshot() {
    std::string const path = TestEnvironment::Home() + "/snapshot.png";
    std::remove(path.c_str());
    EXPECT_EQ(std::system((DUOSCOPE_CAM_TOOL " --snapshot " + path + " 2>/dev/null").c_str()), 0);
    return QImage(QString::fromStdString(path)).convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

TEST_F(DocumentWindowTest, AReaderProcessSeesTheMonitorPictureAndQuittingRemovesTheInstall) {
    UserDefaults::standard().setNumber("_rebroadcastButton", 1);
    Open();
    DSCStereoView* stereo = Find<DSCStereoView>("stereoView");
    mDocument->camTimer()->stop();  // ticks by hand, so the monitor holds still between them
    for (int type : {DSCStereoView::kMonitorCombined, DSCStereoView::kMonitorLeftEye}) {
        stereo->setMonitorImageType(type);
        // Within two ticks the broadcast frame is the monitor's picture in the new mode. (The
        // monitor image renders the eyes' current frames, which only the next tick changes.)
        for (int tick = 0; tick < 2; ++tick) {
            mDocument->masterTimeClock(nullptr);
            QApplication::processEvents();
        }
        QImage const monitor = CIContext::createQImage(stereo->monitorImage(), {0, 0, 640, 480});
        EXPECT_EQ(Snapshot(), monitor) << "monitor type " << type;
    }

    std::string const link = TestEnvironment::Home() + "/.local/share/duoscope/components/" +
                             "Duoscope_XXX.component";
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    mDocument->window()->close();
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(link)))
        << "quitting while broadcasting removes the install";
}

double sFakeMicroseconds = 1e9;

// Which camera each eye opens is the grabbers' matter, and what a menu lists and marks the
// menus'; the window stores each eye's pick, takes the picks back for both eyes at opening,
// and keeps both menus up to date.
TEST_F(DocumentWindowTest, APickIsStoredForItsEyeAsPickedEvenWhenTheOtherEyeHoldsThatCamera) {
    Open();
    ASSERT_EQ(mLeft->cameraPopUpButton()->currentText(), "Test Pattern Left");
    // The left eye holds it, so the right eye cannot open it now; the pick still stands.
    mRight->cameraMenuController()->cameraSelectionChanged("Test Pattern Left");
    EXPECT_EQ(UserDefaults::standard().stringForKey("_grabViewRightEye"), "Test Pattern Left");
    EXPECT_FALSE(UserDefaults::standard().hasKey("_grabViewLeftEye"));
    mLeft->cameraMenuController()->cameraSelectionChanged("No Camera");
    EXPECT_EQ(UserDefaults::standard().stringForKey("_grabViewLeftEye"), "No Camera");
    EXPECT_EQ(UserDefaults::standard().stringForKey("_grabViewRightEye"), "Test Pattern Left");
}

TEST_F(DocumentWindowTest, StoredPicksAreTakenBackAtOpeningAndNeverRewritten) {
    char const* const kLeft = "Test Pattern Left";
    char const* const kRight = "Test Pattern Right";
    struct Case {
        char const *storedLeft, *storedRight, *left, *right;  // stored null: nothing stored
    };
    for (Case const& c : {Case{kRight, kLeft, kRight, kLeft},  // the eyes had them crossed
                          Case{kRight, nullptr, kRight, kLeft},
                          Case{nullptr, "Unplugged Camera", kLeft, kRight}}) {
        SCOPED_TRACE(std::string(c.left) + " " + c.right);
        for (auto const& [key, stored] : {std::pair{"_grabViewLeftEye", c.storedLeft},
                                          std::pair{"_grabViewRightEye", c.storedRight}}) {
            UserDefaults::standard().removeKey(key);
            if (stored != nullptr) {
                UserDefaults::standard().setString(key, stored);
            }
        }
        Open();
        EXPECT_EQ(mLeft->cameraPopUpButton()->currentText(), c.left);
        EXPECT_EQ(mRight->cameraPopUpButton()->currentText(), c.right);
        EXPECT_EQ(UserDefaults::standard().hasKey("_grabViewLeftEye"), c.storedLeft != nullptr);
        if (c.storedRight != nullptr) {
            EXPECT_EQ(UserDefaults::standard().stringForKey("_grabViewRightEye"), c.storedRight);
        }
        Close();
    }
}

TEST_F(DocumentWindowTest, MenusFollowCamerasThatVanishAndComeBack) {
    QCameraGrabberBase::SetMicrosecondsClock([] { return sFakeMicroseconds; });
    Open();
    ASSERT_EQ(mLeft->cameraPopUpButton()->currentText(), "Test Pattern Left");

    TestPatternBackEnd::Unplug();
    mDocument->masterTimeClock(nullptr);
    for (auto* eye : {mLeft, mRight}) {
        EXPECT_EQ(eye->cameraPopUpButton()->currentText(), "No Camera");
        EXPECT_EQ(eye->cameraPopUpButton()->findText("Test Pattern Left"), -1)
            << "an unplugged camera is no longer offered";
    }
    EXPECT_TRUE(Find<QLabel>("rightEyeStatus")->text().startsWith("Right eye: no camera"));

    // Plugged in again: listed at the next tick, though neither eye holds a camera yet.
    TestPatternBackEnd::Plug();
    mDocument->masterTimeClock(nullptr);
    EXPECT_NE(mRight->cameraPopUpButton()->findText("Test Pattern Right"), -1);
    EXPECT_EQ(mRight->cameraPopUpButton()->currentText(), "No Camera");

    sFakeMicroseconds += 1.5e6;
    mDocument->masterTimeClock(nullptr);  // the capture worker is asked to open them
    CaptureRegistry::Shared().Opener().Drain();
    mDocument->masterTimeClock(nullptr);
    EXPECT_EQ(mLeft->cameraPopUpButton()->currentText(), "Test Pattern Left");
    EXPECT_EQ(mRight->cameraPopUpButton()->currentText(), "Test Pattern Right");
}

}  // namespace

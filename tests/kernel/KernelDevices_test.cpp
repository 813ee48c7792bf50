// The capture code against real kernel devices: vivid's webcams and looped HDMI cameras, and
// v4l2loopback nodes. Runs only inside the kernel VM (run-kernel-vm.sh), where each suite's
// devices are loaded before it runs; outside it every case fails, so it is not registered
// as a test of its own.

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <QComboBox>
#include <QStringList>

#include <gtest/gtest.h>
#include <linux/videodev2.h>

#include "CoCamX/NSUICamMenuController.h"
#include "CoCamX/QCamGrabCGImageView.h"
#include "QClasses/QCameraGrabCGContext.h"
#include "platform/capture/CaptureRegistry.h"
#include "platform/capture/V4L2BackEnd.h"
#include "platform/capture/V4L2Resources.h"
#include "platform/capture/V4L2Source.h"
#include "tests/kernel/KernelDeviceSupport.h"
#include "tests/platform/CaptureTestFrames.h"

namespace {

using namespace KernelDeviceSupport;

constexpr SGRect kFrameRect = {0, 0, 480, 640};

std::vector<CaptureDevice> V4L2Devices() {
    std::vector<CaptureDevice> devices;
    CaptureRegistry::Shared().V4L2().ListDevices(devices);
    return devices;
}

// Default vivid: one capture node with four inputs beside output, VBI, radio, SDR, touch and
// metadata nodes (metadata nodes list inputs too), and a loopback node that claims to capture.
TEST(DefaultVivid, OnlyTheCaptureNodeIsACameraWithItsFourInputs) {
    ASSERT_GT(V4L2BackEnd::FindNodes("/dev").size(), 3u);
    std::vector<CaptureDevice> const devices = V4L2Devices();
    ASSERT_EQ(devices.size(), 1u) << "loopback, output or metadata node listed as a camera";
    EXPECT_EQ(devices[0].name, "vivid");
    EXPECT_EQ(NodeName(devices[0].path), "vivid-000-vid-cap");
    std::vector<std::string> const inputs = {"vivid - Webcam 0", "vivid - TV 0",
                                             "vivid - S-Video 0", "vivid - HDMI 0"};
    EXPECT_EQ(devices[0].inputs, inputs);
}

// Two identical webcams: told apart by their bus, walked in node order.
TEST(TwoWebcams, AreListedInNodeOrderWithNamesThatDiffer) {
    std::vector<CaptureDevice> const devices = V4L2Devices();
    ASSERT_EQ(devices.size(), 2u);
    EXPECT_EQ(devices[0].path, "/dev/video0");
    EXPECT_EQ(devices[1].path, "/dev/video1");
    EXPECT_EQ(devices[0].name, "vivid [platform:vivid-000]");
    EXPECT_EQ(devices[1].name, "vivid [platform:vivid-001]");
}

// The webcam offers raw formats only: the grabber settles on YUYV at the size asked for (or
// the nearest larger), rows at least as long as the pixels, and asks for a frame rate the
// driver then reports back.
TEST(TwoWebcams, FormatAndFrameRateAreNegotiated) {
    struct Case {
        int width, height;
        int wantWidth, wantHeight;
    };
    for (Case const c : {Case{640, 480, 640, 480}, Case{320, 180, 320, 180},
                         Case{1280, 720, 1280, 720}, Case{700, 500, 1280, 720}}) {
        SCOPED_TRACE(std::to_string(c.width) + "x" + std::to_string(c.height));
        V4L2Source source;
        ASSERT_EQ(source.Open("/dev/video0", "left", 0, c.width, c.height), noErr);
        ImageDescription const& desc = source.Description();
        EXPECT_EQ(desc.cType, kCodecYUYV);
        EXPECT_EQ(desc.width, c.wantWidth);
        EXPECT_EQ(desc.height, c.wantHeight);
        EXPECT_GE(desc.bytesPerLine, 2 * desc.width);
        EXPECT_GT(source.FramesPerSecond(), 4.0);
        EXPECT_NEAR(source.FramesPerSecond(), DriverFramesPerSecond("/dev/video0"), 0.01);
    }
}

// Opens both eyes' default cameras: the second eye takes the camera the first does not hold.
void OpenBothEyes(QCameraGrabCGContext& left, QCameraGrabCGContext& right) {
    ASSERT_EQ(OpenAndRecord(left, kFrameRect, nullptr), noErr);
    ASSERT_EQ(OpenAndRecord(right, kFrameRect, nullptr), noErr);
    EXPECT_EQ(CurrentCamera(left), "vivid [platform:vivid-000]");
    EXPECT_EQ(CurrentCamera(right), "vivid [platform:vivid-001]");
}

// Both webcams at once through the application's own grabbers: the second grabber's default
// camera is the one the first does not hold, and both decode moving pictures.
TEST(TwoWebcams, TwoGrabbersStreamAtOnce) {
    QCameraGrabCGContext left;
    QCameraGrabCGContext right;
    OpenBothEyes(left, right);
    if (HasFatalFailure()) {
        return;
    }
    ASSERT_TRUE(IdleUntilFrames({&left, &right}, 3));
    for (QCameraGrabCGContext* grabber : {&left, &right}) {
        EXPECT_GT(DistinctColours(grabber->mCamContext), 4) << "no picture decoded";
        EXPECT_EQ(grabber->GetFrameStatistics().framesDropped, 0u);
    }
}

double sFakeMicroseconds = 1e9;

// vivid's "Disconnect" control unregisters the nodes while they stream, as unplugging does;
// the nodes come back once their last user has closed them. The right eye keeps its camera
// throughout, and the left one takes its own camera back, not another.
TEST(TwoWebcams, ALostEyeReopensItsCameraAfterThePeriodOnceItIsBack) {
    QCameraGrabberBase::SetMicrosecondsClock([] { return sFakeMicroseconds; });
    QCameraGrabCGContext left;
    QCameraGrabCGContext right;
    ASSERT_EQ(OpenAndRecord(left, kFrameRect, nullptr), noErr);
    ASSERT_EQ(OpenAndRecord(right, kFrameRect, nullptr), noErr);
    ASSERT_TRUE(IdleUntilFrames({&left, &right}, 1));
    {
        ScopedFd control(::open("/dev/video0", O_RDWR | O_NONBLOCK | O_CLOEXEC));
        ASSERT_TRUE(control.IsOpen());
        ASSERT_TRUE(SetControlByName(control.Get(), "Disconnect", 1));
        ASSERT_TRUE(IdleUntil([&] {
            left.Idle();
            return left.mVideoChannel == nullptr;
        }));
        // Still gone (this descriptor holds the node) past the period: nothing opens.
        sFakeMicroseconds += 1.1e6;
        left.Idle();
        EXPECT_EQ(left.mVideoChannel, nullptr);
        EXPECT_TRUE(IdleUntilFrames({&right}, 2));
    }
    ASSERT_TRUE(IdleUntil([] { return NodeName("/dev/video0") == "vivid-000-vid-cap"; }));
    // The capture worker scans the nodes and opens the camera; a later tick takes it.
    CaptureRegistry::Shared().Opener().Drain();
    sFakeMicroseconds += 1.1e6;
    left.Idle();
    CaptureRegistry::Shared().Opener().Drain();
    left.Idle();
    ASSERT_NE(left.mVideoChannel, nullptr);
    EXPECT_EQ(CurrentCamera(left), "vivid [platform:vivid-000]");
    EXPECT_TRUE(IdleUntilFrames({&left, &right}, 1));
    QCameraGrabberBase::SetMicrosecondsClock(nullptr);
}

// Two vivid instances, each with its HDMI output looped into its HDMI input: cameras whose
// pictures are known. Both eyes decode their own picture into the 640 x 480 buffer, with
// rows as long as the pixels and with padded rows (vivid pads when asked), so a decoder
// that mixes up the eyes or ignores the driver's row length fails here.
TEST(LoopedCameras, EachEyeDecodesItsOwnKnownPicture) {
    LoopedPictureCameras const cameras;
    ASSERT_TRUE(cameras.IsLooping());

    for (std::uint32_t const rowBytes : {0u, 1600u}) {
        SCOPED_TRACE("rows asked for: " + std::to_string(rowBytes));
        V4L2Source::SetRowBytesAskedForTests(rowBytes);
        QCameraGrabCGContext left;
        QCameraGrabCGContext right;
        OpenBothEyes(left, right);
        V4L2Source::SetRowBytesAskedForTests(0);
        if (HasFatalFailure()) {
            return;
        }
        ASSERT_TRUE(IdleUntilFrames({&left, &right}, 3));
        EXPECT_EQ(left.mCameraImageDesc.cType, kCodecYUYV);
        EXPECT_EQ(left.mCameraImageDesc.bytesPerLine, rowBytes == 0 ? 1280 : int(rowBytes));
        EXPECT_LT(DifferenceFrom(left.mCamContext, cameras.leftPicture), 3.0);
        EXPECT_LT(DifferenceFrom(right.mCamContext, cameras.rightPicture), 3.0);
        if (Test::HasFailure()) {
            SaveForPeople(left.mCamContext, "looped-left.png");
            SaveForPeople(right.mCamContext, "looped-right.png");
        }
    }
    EXPECT_GT(cameras.leftSensor.FramesWritten(), 0);
}

// An MJPEG camera: a loopback node that a writer feeds with JPEG frames of a known picture.
// The grabber negotiates MJPEG and decodes it into the 640 x 480 buffer. Loopback nodes are
// cameras only for this test; the program's own list leaves them out.
TEST(LoopedCameras, AnMJPEGCameraIsDecodedIntoTheFrameBuffer) {
    std::vector<std::uint8_t> const picture = CaptureTestFrames::Picture(640, 480);
    PictureWriter sensor("/dev/video11", V4L2_PIX_FMT_MJPEG, 640, 480,
                         CaptureTestFrames::EncodeJPEG(picture, 640, 480));
    ASSERT_TRUE(sensor.IsWriting());
    V4L2Naming::SetLoopbackNodesAreCameras(true);
    CaptureRegistry::Shared().V4L2().ForgetScan();
    // The grabber starts on its default camera and is switched, as the camera menu does.
    QCameraGrabCGContext grabber;
    ASSERT_EQ(OpenAndRecord(grabber, kFrameRect, nullptr), noErr);
    QCameraGrabberBase::Camera camera;
    bool const fListed = grabber.GetCameraWithDeviceInputName(camera, "JPEGCam");
    EXPECT_TRUE(fListed) << "the loopback node fed with JPEG frames is not listed";
    if (fListed) {
        ASSERT_EQ(grabber.SwitchToCamera(camera), noErr);
        ASSERT_EQ(CurrentCamera(grabber), "JPEGCam");
        ASSERT_TRUE(IdleUntilFrames({&grabber}, 3));
        EXPECT_EQ(grabber.mCameraImageDesc.cType, kCodecMJPEG);
        EXPECT_LT(DifferenceFrom(grabber.mCamContext, picture), 4.0);
        EXPECT_EQ(grabber.GetFrameStatistics().framesDropped, 0u);
        if (Test::HasFailure()) {
            SaveForPeople(grabber.mCamContext, "mjpeg.png");
        }
    }
    V4L2Naming::SetLoopbackNodesAreCameras(false);
    CaptureRegistry::Shared().V4L2().ForgetScan();
}

// A camera plugged in after the program started: the harness loads vivid when asked. The
// device watch notices the new nodes, the camera menu lists them once refreshed (the window
// refreshes when DevicesChanged says so), and choosing one there switches the eye to it.
TEST(Hotplug, ACameraPluggedInLaterIsInTheMenuAndCanBeChosen) {
    char const* plugRequest = std::getenv("DUOSCOPE_KERNEL_PLUG");
    ASSERT_NE(plugRequest, nullptr) << "run-kernel-vm.sh loads the camera when asked";
    QComboBox popUp;
    QCamGrabCGImageView view;
    view.setCameraPopUpButton(&popUp);
    view.cameraOpen(QSizeF(640, 480));
    QCameraGrabCGContext& grabber = view.cameraGrabber();
    ASSERT_TRUE(V4L2Devices().empty());
    ASSERT_EQ(CurrentCamera(grabber), "Test Pattern Left");
    CaptureRegistry::Shared().DevicesChanged();

    std::ofstream(plugRequest) << "plug\n";
    bool fChanged = false;
    ASSERT_TRUE(IdleUntil([&] {
        fChanged = CaptureRegistry::Shared().DevicesChanged() || fChanged;
        return V4L2Devices().size() == 2;
    })) << "the new camera's nodes were never listed";
    EXPECT_TRUE(fChanged);

    view.cameraMenuRefresh();
    QString const plugged = QStringLiteral("vivid [platform:vivid-001]");
    int const row = popUp.findText(plugged, Qt::MatchExactly | Qt::MatchCaseSensitive);
    ASSERT_GE(row, 0) << "not in the camera menu";
    QObject::connect(view.cameraMenuController(), &NSUICamMenuController::action, &view,
                     &QCamGrabViewBase::cameraMenuChanged);
    emit popUp.activated(row);
    EXPECT_EQ(CurrentCamera(grabber), plugged.toStdString());
    EXPECT_TRUE(IdleUntilFrames({&grabber}, 2));
    view.cameraClose();
}

}  // namespace

// Camera grabbers on the test-pattern camera: opening the default camera, switching, the
// next/previous walk, losing a camera and re-opening after the period, and damaged frames.
// The re-open clock is a fake one that the tests advance.

#include <thread>

#include <gtest/gtest.h>

#include "QClasses/QCameraGrabCGContext.h"
#include "QClasses/QCameraPairing.h"
#include "platform/capture/CaptureRegistry.h"
#include "platform/capture/TestPatternBackEnd.h"
#include "tests/platform/CaptureTestFrames.h"
#include "tests/support/TestLogCapture.h"

namespace {

using Camera = QCameraGrabberBase::Camera;

constexpr SGRect kFrameRect = {0, 0, 480, 640};

double sFakeMicroseconds = 0.0;

class GrabberTest : public ::testing::Test {
protected:
    void SetUp() override {
        CaptureRegistry::Shared().SetV4L2Enabled(false);
        TestPatternBackEnd::Plug();
        sFakeMicroseconds = 1e9;
        QCameraGrabberBase::SetMicrosecondsClock([] { return sFakeMicroseconds; });
    }
    void TearDown() override {
        QCameraGrabberBase::SetMicrosecondsClock(nullptr);
        TestPatternBackEnd::Plug();
        TestPatternBackEnd::Unplug(TestPatternBackEnd::kSpare);
        TestPatternBackEnd::SetFrozen(false);
        CaptureRegistry::Shared().SetV4L2Enabled(true);
    }

    static void AdvanceSeconds(double seconds) { sFakeMicroseconds += seconds * 1e6; }

    // Opens the default camera and starts recording.
    static int Open(QCameraGrabCGContext& grabber) {
        int const err = grabber.OpenInitialize(kFrameRect, k32ARGBPixelFormat, nullptr);
        return err != noErr ? err : grabber.StartRecord();
    }

    // Idles until a frame has been decoded (the test pattern sends one at once after a
    // start, then one every 1/30 s).
    static bool NextFrame(QCameraGrabCGContext& grabber) {
        std::uint64_t const before = grabber.GetFrameStatistics().framesDecoded;
        for (int i = 0; i < 200; ++i) {
            grabber.Idle();
            if (grabber.GetFrameStatistics().framesDecoded > before) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return false;
    }

    // Lets the capture worker finish what the grabber asked of it, then collects it.
    static int Settle(QCameraGrabCGContext& grabber) {
        CaptureRegistry::Shared().Opener().Drain();
        return grabber.Idle();
    }

    static std::string Current(QCameraGrabCGContext& grabber) {
        Camera camera;
        return grabber.GetCurrentCamera(camera) ? PStr63ToString(camera.inputName) : "";
    }

    static std::vector<std::uint8_t> Pixels(QCameraGrabCGContext const& grabber) {
        auto const& bitmap = grabber.mCamContext;
        return {bitmap.mImageDataBytes, bitmap.mImageDataBytes + bitmap.mImageDataSize};
    }
};

TEST_F(GrabberTest, DefaultCamerasGoLeftThenRightThenNoneAndHeldFramesAreDecodedWhenPicked) {
    QCameraGrabCGContext left, right, third;
    ASSERT_EQ(Open(left), noErr);
    ASSERT_EQ(Open(right), noErr);
    EXPECT_EQ(Current(left), "Test Pattern Left");
    EXPECT_EQ(Current(right), "Test Pattern Right");
    EXPECT_NE(third.OpenInitialize(kFrameRect, k32ARGBPixelFormat, nullptr), noErr);
    EXPECT_EQ(third.mVideoChannel, nullptr);
    EXPECT_NE(third.mComponent, nullptr);

    // The frame buffer is black until the first frame, then the picture.
    std::vector<std::uint8_t> const black = Pixels(left);
    EXPECT_EQ(std::vector(black.begin(), black.begin() + 4),
              (std::vector<std::uint8_t>{0, 0, 0, 255}));
    ASSERT_TRUE(NextFrame(left));
    ASSERT_TRUE(NextFrame(right));
    EXPECT_NE(Pixels(left), black);
    EXPECT_NE(Pixels(left), Pixels(right));

    // Holding grabbers decode only the frame the pairing picks, and report its capture time.
    left.SetHoldFramesForPairing(true);
    right.SetHoldFramesForPairing(true);
    for (int i = 0; i < 200 && (left.HeldFrameTimes().empty() || right.HeldFrameTimes().empty());
         ++i) {
        left.Idle();
        right.Idle();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    ASSERT_FALSE(left.HeldFrameTimes().empty());
    std::uint64_t const decoded = left.GetFrameStatistics().framesDecoded;
    std::int64_t const heldUs = left.HeldFrameTimes().back();
    QCameraPairing::Choice const choice = QCameraPairing::ShowBestPair(left, right);
    EXPECT_EQ(left.GetFrameStatistics().framesDecoded, decoded + 1);
    EXPECT_EQ(left.LastFrameCaptureMicroseconds(), heldUs);
    EXPECT_TRUE(left.HeldFrameTimes().empty());
    EXPECT_GE(choice.errorMs, 0.0);
    EXPECT_LT(choice.errorMs, 34.0) << "no more than one frame apart";
}

TEST_F(GrabberTest, CamerasAreChosenByWalkOrByNameButNotTheOneInUse) {
    QCameraGrabCGContext grabber;
    ASSERT_EQ(Open(grabber), noErr);
    EXPECT_EQ(grabber.GetCameraCount(), 2);
    EXPECT_FALSE(grabber.UsePrevCamera());  // the first camera: no wrap-around
    EXPECT_EQ(Current(grabber), "Test Pattern Left");
    ASSERT_TRUE(grabber.UseNextCamera());
    EXPECT_EQ(Current(grabber), "Test Pattern Right");
    EXPECT_TRUE(NextFrame(grabber));
    EXPECT_FALSE(grabber.UseNextCamera());
    EXPECT_EQ(Current(grabber), "Test Pattern Right");
    ASSERT_TRUE(grabber.UsePrevCamera());
    EXPECT_EQ(Current(grabber), "Test Pattern Left");
    EXPECT_TRUE(NextFrame(grabber));

    // Switching to the current camera, or to one that is not there, changes nothing.
    Camera current;
    ASSERT_TRUE(grabber.GetCurrentCamera(current));
    SGChannel* const channel = grabber.mVideoChannel;
    Camera bogus = current;
    bogus.device = 5;
    for (Camera const& camera : {current, bogus}) {
        EXPECT_EQ(grabber.SwitchToCamera(camera), paramErr);
        EXPECT_EQ(grabber.mVideoChannel, channel);
    }
    EXPECT_TRUE(NextFrame(grabber));  // still recording
    Camera right;
    ASSERT_TRUE(grabber.GetCameraWithDeviceInputName(right, "Test Pattern Right"));
    EXPECT_EQ(grabber.SwitchToCamera(right), noErr);
    EXPECT_TRUE(grabber.IsThisTheCurrentCamera(right));

    // The camera the other eye holds cannot be taken: the eye keeps its own, never dark.
    QCameraGrabCGContext other;
    ASSERT_EQ(Open(other), noErr);
    TestLogCapture log;
    EXPECT_FALSE(grabber.UsePrevCamera());
    EXPECT_TRUE(log.Contains("cannot use 'Test Pattern Left': another program or grabber is "
                             "using it; staying with 'Test Pattern Right'"))
        << log.Lines();
    EXPECT_EQ(Current(grabber), "Test Pattern Right");
    EXPECT_TRUE(NextFrame(grabber));
    EXPECT_EQ(Current(other), "Test Pattern Left");
    QCameraStatus status;
    grabber.GetStatus(status);
    EXPECT_EQ(status.trouble,
              "'Test Pattern Left' cannot be used: another program or grabber is using it");
}

// A lost camera is tried again once a period, and the grabber waits for that camera rather
// than taking the first that opens.
TEST_F(GrabberTest, AnUnpluggedCameraIsReopenedAfterThePeriod) {
    QCameraGrabCGContext grabber;
    ASSERT_EQ(Open(grabber), noErr);
    ASSERT_TRUE(grabber.UseNextCamera());
    ASSERT_TRUE(NextFrame(grabber));
    std::vector<std::uint8_t> const lastPicture = Pixels(grabber);

    TestPatternBackEnd::Unplug();
    EXPECT_EQ(grabber.Idle(), sgDeviceLostErr);
    EXPECT_EQ(grabber.mVideoChannel, nullptr);
    EXPECT_EQ(Pixels(grabber), lastPicture);  // the view keeps the last picture

    // Unplugged, past the period: one attempt finds the camera still gone, and the next
    // waits a period again.
    AdvanceSeconds(1.1);
    EXPECT_EQ(grabber.Idle(), noErr);
    EXPECT_EQ(grabber.mVideoChannel, nullptr);
    TestPatternBackEnd::Plug();
    EXPECT_EQ(grabber.Idle(), noErr);
    AdvanceSeconds(0.9);
    EXPECT_EQ(grabber.Idle(), noErr);
    EXPECT_EQ(grabber.mVideoChannel, nullptr);

    // The tick only asks the capture worker to open it, and a later tick takes it open.
    AdvanceSeconds(0.2);
    EXPECT_EQ(grabber.Idle(), noErr);
    EXPECT_EQ(grabber.mVideoChannel, nullptr);
    EXPECT_TRUE(grabber.IsOpeningCamera());
    EXPECT_EQ(Settle(grabber), noErr);
    ASSERT_NE(grabber.mVideoChannel, nullptr);
    EXPECT_EQ(Current(grabber), "Test Pattern Right") << "not the first camera in walk order";
    EXPECT_TRUE(NextFrame(grabber));

    // Once a camera is open again, a later loss is the loss of that camera.
    grabber.Close();
    ASSERT_EQ(Open(grabber), noErr);
    EXPECT_EQ(Current(grabber), "Test Pattern Left");
}

TEST_F(GrabberTest, ACameraThatStopsSendingWithoutAnErrorIsReopenedAfterTwoSeconds) {
    QCameraGrabCGContext grabber;
    ASSERT_EQ(Open(grabber), noErr);
    ASSERT_TRUE(NextFrame(grabber));
    TestPatternBackEnd::SetFrozen(true);
    AdvanceSeconds(1.9);
    EXPECT_EQ(grabber.Idle(), noErr);
    EXPECT_NE(grabber.mVideoChannel, nullptr);
    TestLogCapture log;
    AdvanceSeconds(0.2);
    EXPECT_EQ(grabber.Idle(), sgDeviceLostErr);
    EXPECT_EQ(grabber.mVideoChannel, nullptr);
    EXPECT_TRUE(log.Contains("'Test Pattern Left' sent no frame for 2.1 s")) << log.Lines();
    QCameraStatus status;
    grabber.GetStatus(status);
    EXPECT_EQ(status.Text("Left eye"), "Left eye: no camera · it sent no frame for 2 s: re-opening it");

    TestPatternBackEnd::SetFrozen(false);
    AdvanceSeconds(1.1);
    grabber.Idle();
    Settle(grabber);
    EXPECT_EQ(Current(grabber), "Test Pattern Left");
    EXPECT_TRUE(NextFrame(grabber));
    grabber.GetStatus(status);
    EXPECT_EQ(status.camera, "Test Pattern Left");
    EXPECT_EQ(status.format, kCodecMJPEG);
    EXPECT_GE(status.framesPerSecond, 1.0);
    EXPECT_EQ(status.trouble, "");
}

TEST(CameraStatus, OneLineOfWhatTheUserNeedsToKnow) {
    QCameraStatus plain;
    plain.camera = "HD Pro Webcam C920 [1.2]";
    plain.format = kCodecMJPEG;
    plain.width = 640;
    plain.height = 480;
    plain.framesPerSecond = 14.96;
    QCameraStatus full = plain;
    full.framesDropped = 2;
    full.pairingErrorMs = 4.4;
    full.trouble = "USB bandwidth: 15 fps";
    QCameraStatus lost;
    lost.trouble = "it vanished: waiting for it to come back";
    for (auto const& [status, text] : std::vector<std::pair<QCameraStatus, std::string>>{
             {full, "Right eye: HD Pro Webcam C920 [1.2] · MJPG 640x480 · 15.0 fps · 2 dropped · "
                    "eyes 4 ms apart · USB bandwidth: 15 fps"},
             {lost, "Right eye: no camera · it vanished: waiting for it to come back"},
             {plain, "Right eye: HD Pro Webcam C920 [1.2] · MJPG 640x480 · 15.0 fps"}}) {
        EXPECT_EQ(status.Text("Right eye"), text);
    }
}

// The eyes' frames shown together are the pair closest in time, unless that holds an eye
// back by more than it gains; an eye with no new frame keeps the one it shows.
TEST(CameraPairing, TheClosestPairUnlessHoldingBackCostsMore) {
    struct Case {
        char const* what;
        std::vector<std::int64_t> left, right;  // new frames' capture times
        std::int64_t shownLeft, shownRight;     // negative: nothing shown yet
        int l, r;
        double errorMs;
    };
    for (Case const& c : std::vector<Case>{
             {"in step", {100000, 133333}, {101000, 134333}, 90000, 90000, 1, 1, 1.0},
             {"right 28 ms late", {100000, 133333}, {128000, 161333}, -1, -1, 1, 0, 5.333},
             {"right 10 ms late", {100000, 133333}, {110000, 143333}, -1, -1, 1, 1, 10.0},
             {"nothing new on the right", {100000, 133333}, {}, -1, 130000, 1, -1, 3.333},
             {"no right camera", {100000, 133333}, {}, -1, -1, 1, -1, -1.0},
             {"nothing new", {}, {}, 100000, 101000, -1, -1, 1.0}}) {
        SCOPED_TRACE(c.what);
        QCameraPairing::Choice const choice =
            QCameraPairing::Choose(c.left, c.shownLeft, c.right, c.shownRight);
        EXPECT_EQ(choice.left, c.l);
        EXPECT_EQ(choice.right, c.r);
        EXPECT_NEAR(choice.errorMs, c.errorMs, 0.001);
    }
}

// An eye on the test pattern takes a camera plugged in later: the one stored as its choice
// first, otherwise any free one; the other eye keeps the test pattern.
TEST_F(GrabberTest, AnEyeOnTheTestPatternTakesACameraPluggedInLater) {
    for (bool const fRightWantsIt : {true, false}) {
        SCOPED_TRACE(fRightWantsIt ? "stored as the right eye's choice" : "no stored choice");
        QCameraGrabCGContext left, right;
        ASSERT_EQ(Open(left), noErr);
        ASSERT_EQ(Open(right), noErr);
        if (fRightWantsIt) {
            right.SetWantedCameraName(TestPatternBackEnd::kSpareInputName);
        }
        for (QCameraGrabCGContext* eye : {&left, &right}) {
            eye->Idle();  // nothing new yet
            EXPECT_FALSE(eye->IsOpeningCamera());
        }
        TestPatternBackEnd::Plug(TestPatternBackEnd::kSpare);
        for (int tick = 0; tick < 3; ++tick) {
            left.Idle();
            right.Idle();
            CaptureRegistry::Shared().Opener().Drain();
        }
        EXPECT_EQ(Current(left), fRightWantsIt ? "Test Pattern Left" : "Spare Camera");
        EXPECT_EQ(Current(right), fRightWantsIt ? "Spare Camera" : "Test Pattern Right");
        EXPECT_TRUE(NextFrame(fRightWantsIt ? right : left));
        TestPatternBackEnd::Unplug(TestPatternBackEnd::kSpare);
    }
}

TEST_F(GrabberTest, NoReopeningWhenItIsTurnedOff) {
    QCameraGrabCGContext grabber;
    ASSERT_EQ(Open(grabber), noErr);
    grabber.SetAutoOpenCameraPluggedIn(false, 1.0f);
    TestPatternBackEnd::Unplug();
    grabber.Idle();
    TestPatternBackEnd::Plug();
    for (int i = 0; i < 5; ++i) {
        AdvanceSeconds(1.5);
        EXPECT_EQ(grabber.Idle(), noErr);
    }
    EXPECT_EQ(grabber.mVideoChannel, nullptr);

    // Turned on again, it waits a full period from that moment.
    grabber.SetAutoOpenCameraPluggedIn(true, 2.0f);
    AdvanceSeconds(1.5);
    grabber.Idle();
    EXPECT_EQ(grabber.mVideoChannel, nullptr);
    AdvanceSeconds(0.6);
    grabber.Idle();
    Settle(grabber);
    EXPECT_NE(grabber.mVideoChannel, nullptr);

    // A grabber that never built a frame buffer never opens anything by itself.
    QCameraGrabCGContext unused;
    AdvanceSeconds(5);
    EXPECT_EQ(unused.Idle(), noErr);
    EXPECT_EQ(unused.mComponent, nullptr);
}

TEST_F(GrabberTest, DamagedFramesAreDroppedAndThePictureStays) {
    QCameraGrabCGContext grabber;
    ASSERT_EQ(Open(grabber), noErr);
    ASSERT_TRUE(NextFrame(grabber));
    std::vector<std::uint8_t> const picture = Pixels(grabber);

    std::vector<std::uint8_t> const jpeg =
        CaptureTestFrames::EncodeJPEG(CaptureTestFrames::Picture(640, 480), 640, 480);
    TestLogCapture log;
    TestPatternBackEnd::InjectFrame(0, {jpeg.begin(), jpeg.begin() + jpeg.size() / 3});
    EXPECT_EQ(grabber.Idle(), sgDecodeErr);
    TestPatternBackEnd::InjectFrame(0, std::vector<std::uint8_t>(3000, 0x5A));
    EXPECT_EQ(grabber.Idle(), sgDecodeErr);
    EXPECT_EQ(Pixels(grabber), picture);
    EXPECT_EQ(grabber.GetFrameStatistics().framesDropped, 2u);
    // The first drop is logged with its reason, later ones only as a count every 10 s.
    EXPECT_EQ(log.Count("frame dropped"), 1u) << log.Lines();
    EXPECT_TRUE(log.Contains("truncated"));
    EXPECT_TRUE(log.Contains("VERIFY_ERR FAILED: OSErr:-9405"));
    AdvanceSeconds(11);
    TestPatternBackEnd::InjectFrame(0, std::vector<std::uint8_t>(3000, 0x5A));
    EXPECT_EQ(grabber.Idle(), sgDecodeErr);
    EXPECT_TRUE(log.Contains("(2 more since the last line)")) << log.Lines();

    // Recording goes on: a good frame is decoded, and so is the next rendered one.
    TestPatternBackEnd::InjectFrame(0, jpeg);
    EXPECT_EQ(grabber.Idle(), noErr);
    EXPECT_NE(Pixels(grabber), picture);
    EXPECT_TRUE(NextFrame(grabber));
    EXPECT_NE(grabber.mVideoChannel, nullptr);
}

TEST_F(GrabberTest, TheCameraIsAskedForTheRequestRectAndTheFrameBufferIsKeptWhileItsSizeStays) {
    QCameraGrabCGContext grabber;
    EXPECT_TRUE(grabber.SetCameraVDIGRequestRect({0, 0, 240, 320}));
    ASSERT_EQ(grabber.CreateFrameBuffer(kFrameRect, k32ARGBPixelFormat), noErr);
    std::uint8_t* const memory = grabber.mCamContext.mImageDataBytes;
    ASSERT_EQ(Open(grabber), noErr);
    EXPECT_EQ(grabber.mCameraImageDesc.width, 320);
    EXPECT_EQ(grabber.mCameraImageDesc.height, 240);
    EXPECT_EQ(grabber.mCamContext.mImageDataBytes, memory);
    EXPECT_TRUE(NextFrame(grabber));
    EXPECT_EQ(grabber.CreateFrameBuffer(kFrameRect, kCodecYUYV), paramErr);

    // An empty request takes the frame buffer's size.
    QCameraGrabCGContext other;
    ASSERT_EQ(Open(other), noErr);
    EXPECT_EQ(other.mVDIGRequestRect, kFrameRect);
    EXPECT_EQ(other.mCameraImageDesc.width, 640);

    // A new size while recording: the decoder follows the new memory after a restart.
    ASSERT_EQ(other.OpenInitialize({0, 0, 240, 320}, k32ARGBPixelFormat, nullptr), noErr);
    ASSERT_EQ(other.StartRecord(), noErr);
    EXPECT_EQ(other.mCamContext.mImageWidth, 320u);
    EXPECT_TRUE(NextFrame(other));
}

}  // namespace

// The whole product against real devices: the application, its eyes on two looped HDMI
// cameras with known pictures, broadcasting to the v4l2loopback node labelled "Duoscope"; a
// reader on the node's capture side gets the anaglyph of the two pictures, and the still
// "not broadcasting" picture once the application has quit.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <libyuv.h>
#include <linux/videodev2.h>

#include "CocoaX/CIVIZStereoMuxKernel.h"
#include "component/LoopbackDevice.h"
#include "platform/capture/V4L2Resources.h"
#include "tests/kernel/KernelDeviceSupport.h"
#include "tests/platform/CaptureTestFrames.h"
#include "tests/support/TestEnvironment.h"

namespace {

using namespace KernelDeviceSupport;
using Clock = std::chrono::steady_clock;

constexpr int kWidth = 640;
constexpr int kHeight = 480;
constexpr char kVirtualCamera[] = "/dev/video10";

std::vector<std::uint8_t> Anaglyph(std::vector<std::uint8_t> const& left,
                                   std::vector<std::uint8_t> const& right) {
    std::vector<std::uint8_t> out(left.size());
    StereoMuxCoefficients const coefficients =
        StereoMuxCoefficientsFor(CIVIZStereoFormat::kRedCyanDubois, 0.0f);
    for (int y = 0; y < kHeight; ++y) {
        std::size_t const row = std::size_t(y) * kWidth * 4;
        StereoMuxRow_C(reinterpret_cast<std::uint32_t const*>(right.data() + row),
                       reinterpret_cast<std::uint32_t const*>(left.data() + row),
                       reinterpret_cast<std::uint32_t*>(out.data() + row), kWidth, coefficients);
    }
    return out;
}

// Reads whole YUYV frames from the loopback's capture side, once a writer has made it a
// camera (until then the node only takes output).
class LoopbackReader {
public:
    bool Open() {
        auto const deadline = Clock::now() + std::chrono::seconds(60);
        while (Clock::now() < deadline) {
            mFd.Reset(::open(kVirtualCamera, O_RDWR | O_NONBLOCK | O_CLOEXEC));
            v4l2_capability capability{};
            if (mFd.IsOpen() && V4L2Ioctl(mFd.Get(), VIDIOC_QUERYCAP, &capability) == 0 &&
                (capability.device_caps & V4L2_CAP_VIDEO_CAPTURE) != 0) {
                v4l2_format format{};
                format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
                return V4L2Ioctl(mFd.Get(), VIDIOC_G_FMT, &format) == 0 &&
                       format.fmt.pix.pixelformat == V4L2_PIX_FMT_YUYV &&
                       format.fmt.pix.width == kWidth && format.fmt.pix.height == kHeight;
            }
            usleep(100 * 1000);
        }
        return false;
    }
    // The next frame; false when none comes within `timeoutMs`. (The driver's poll does not
    // wake a reader before its first read, so reads are retried instead.)
    bool Read(std::vector<std::uint8_t>& yuyv, int timeoutMs) {
        yuyv.resize(std::size_t(kWidth) * kHeight * 2);
        auto const deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
        while (Clock::now() < deadline) {
            ssize_t const got = ::read(mFd.Get(), yuyv.data(), yuyv.size());
            if (got == ssize_t(yuyv.size())) {
                return true;
            }
            if (got < 0 && errno != EAGAIN && errno != EINTR) {
                std::printf("reading %s: %s\n", kVirtualCamera, std::strerror(errno));
                return false;
            }
            usleep(5000);
        }
        return false;
    }

private:
    ScopedFd mFd;
};

double DifferenceFromYUYV(std::vector<std::uint8_t> const& yuyv,
                          std::vector<std::uint8_t> const& argb) {
    std::vector<std::uint8_t> decoded(argb.size());
    libyuv::YUY2ToARGB(yuyv.data(), kWidth * 2, decoded.data(), kWidth * 4, kWidth, kHeight);
    return CaptureTestFrames::MeanDifference(decoded.data(), kWidth * 4, argb.data(), kWidth * 4,
                                             kWidth, kHeight);
}

bool LoopVideo(char const* capturePath) {
    ScopedFd fd(::open(capturePath, O_RDWR | O_NONBLOCK | O_CLOEXEC));
    return fd.IsOpen() && SetControlByName(fd.Get(), "Loop Video", 1) &&
           SetControlByName(fd.Get(), "OSD Text Mode", 2);
}

TEST(LoopedCameras, TheApplicationBroadcastsTheAnaglyphThenTheStillPicture) {
    std::vector<std::uint8_t> const leftPicture = CaptureTestFrames::Picture(kWidth, kHeight);
    std::vector<std::uint8_t> const rightPicture = Mirrored(leftPicture, kWidth, kHeight);
    PictureWriter leftSensor("/dev/video1", kCodecYUYV, kWidth, kHeight,
                             ToYUYV(leftPicture, kWidth, kHeight));
    PictureWriter rightSensor("/dev/video3", kCodecYUYV, kWidth, kHeight,
                              ToYUYV(rightPicture, kWidth, kHeight));
    ASSERT_TRUE(leftSensor.IsWriting() && rightSensor.IsWriting());
    ASSERT_TRUE(LoopVideo("/dev/video0") && LoopVideo("/dev/video2"));

    // Both eyes combined on the monitor, broadcasting on and open to other programs, each eye
    // on its camera.
    std::string const folder = std::string(std::getenv("XDG_CONFIG_HOME")) + "/Duoscope";
    ::mkdir(std::getenv("XDG_CONFIG_HOME"), 0700);
    ::mkdir(folder.c_str(), 0700);
    ASSERT_TRUE(TestEnvironment::WriteFile(
        folder + "/defaults.json",
        R"({"monitorImageType": 2, "_rebroadcastButton": 1, "_allowCameraButton": 1,
            "_grabViewLeftEye": "vivid [platform:vivid-000]",
            "_grabViewRightEye": "vivid [platform:vivid-001]"})"));
    pid_t const application = fork();
    ASSERT_GE(application, 0);
    if (application == 0) {
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
        execl(DUOSCOPE_APP, DUOSCOPE_APP, static_cast<char*>(nullptr));
        _exit(127);
    }

    LoopbackReader reader;
    bool const fOpened = reader.Open();
    EXPECT_TRUE(fOpened) << kVirtualCamera << " never became a YUYV 640 x 480 camera";
    std::vector<std::uint8_t> const expected = Anaglyph(leftPicture, rightPicture);
    std::vector<std::uint8_t> frame;
    double best = 1e9;
    auto const deadline = Clock::now() + std::chrono::seconds(60);
    while (fOpened && best > 4.0 && Clock::now() < deadline) {
        if (reader.Read(frame, 1000)) {
            best = std::min(best, DifferenceFromYUYV(frame, expected));
        }
    }
    EXPECT_LT(best, 4.0) << "no broadcast frame showed the anaglyph of the two eyes";
    std::printf("closest broadcast frame: mean difference %.2f\n", best);

    // Quitting stops the broadcast the way closing the window does; the last frame left on
    // the device is the still picture.
    ::kill(application, SIGTERM);
    int status = -1;
    bool const fExited = IdleUntil([&] { return ::waitpid(application, &status, WNOHANG) != 0; });
    if (!fExited) {
        ::kill(application, SIGKILL);
        ::waitpid(application, &status, 0);
    }
    EXPECT_TRUE(fExited && WIFEXITED(status) && WEXITSTATUS(status) == 0)
        << "the application did not quit cleanly: status " << status;
    // Frames already queued come first, then the still picture. (Once its writer has closed
    // the node, Debian 12's v4l2loopback hands readers blank frames, so the still picture is
    // not the last thing they see.)
    LoopbackDevice const device;
    int stillFrames = 0;
    for (int i = 0; i < 50 && fOpened && reader.Read(frame, 2000); ++i) {
        stillFrames += frame == device.StillPictureYUYV();
    }
    EXPECT_GT(stillFrames, 0) << "the still picture never reached the reader";
    if (::testing::Test::HasFailure()) {
        std::system("cat \"$XDG_STATE_HOME\"/Duoscope/*.log");
    }
}

}  // namespace

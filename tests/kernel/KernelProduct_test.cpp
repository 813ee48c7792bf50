// The whole product against real devices: the application, its eyes on two looped HDMI
// cameras with known pictures, broadcasting to the v4l2loopback node labelled "Duoscope"; a
// reader on the node's capture side gets the anaglyph of the two pictures, and the still
// "not broadcasting" picture once the application has quit. Then the virtual camera alone,
// through stops, silences and restarts.

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
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
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

double DifferenceFromYUYV(std::vector<std::uint8_t> const& yuyv,
                          std::vector<std::uint8_t> const& argb) {
    return CaptureTestFrames::MeanDifference(FromYUYV(yuyv, kWidth, kHeight).data(), kWidth * 4,
                                             argb.data(), kWidth * 4, kWidth, kHeight);
}

// True when, within a few frames, the reader gets the "not broadcasting" picture, and then
// only that for twice the time after which the driver shows its timeout picture.
bool ReadsOnlyTheStillPictureAfterAWhile(LoopbackReader& reader) {
    LoopbackDevice const device;
    std::vector<std::uint8_t> frame;
    int frames = 0;
    while (frames < 10 && reader.Read(frame, 2000) && frame != device.StillPictureYUYV()) {
        ++frames;
    }
    if (frame != device.StillPictureYUYV()) {
        std::printf("no still picture within %d frames\n", frames);
        return false;
    }
    int stillFrames = 0;
    auto const until = Clock::now() + std::chrono::milliseconds(2 * LoopbackDevice::kStillAfterMs);
    while (Clock::now() < until) {
        if (!reader.Read(frame, 2000) || frame != device.StillPictureYUYV()) {
            std::printf("after %d still frames: %s\n", stillFrames,
                        frame.empty() ? "no frame" : "another picture");
            if (frame.size() == std::size_t(kWidth) * kHeight * 2) {
                SaveForPeople(FromYUYV(frame, kWidth, kHeight).data(), kWidth, kHeight, kWidth * 4,
                              "after-still.png");
            }
            return false;
        }
        ++stillFrames;
    }
    return stillFrames > 1;
}

TEST(LoopedCameras, TheApplicationBroadcastsTheAnaglyphThenTheStillPicture) {
    LoopedPictureCameras const cameras;
    ASSERT_TRUE(cameras.IsLooping());

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

    auto reader = std::make_unique<LoopbackReader>(kVirtualCamera);
    bool const fOpened = reader->Open(kWidth, kHeight);
    EXPECT_TRUE(fOpened) << kVirtualCamera << " never became a YUYV 640 x 480 camera";
    auto const expected = Anaglyph(cameras.leftPicture, cameras.rightPicture);
    std::vector<std::uint8_t> frame;
    double best = 1e9;
    auto const deadline = Clock::now() + std::chrono::seconds(60);
    while (fOpened && best > 4.0 && Clock::now() < deadline) {
        if (reader->Read(frame, 1000)) {
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
    // A reader that was reading throughout gets the frames already queued, then the still
    // picture and nothing else, for longer than the driver's timeout, after which it shows
    // its own picture. Once it has closed too, nobody holds the device: one that opens the
    // camera now gets the still picture as well.
    EXPECT_TRUE(fOpened && ReadsOnlyTheStillPictureAfterAWhile(*reader))
        << "a reader that was reading when Duoscope quit";
    reader.reset();
    LoopbackReader later(kVirtualCamera);
    EXPECT_TRUE(later.Open(kWidth, kHeight) && ReadsOnlyTheStillPictureAfterAWhile(later))
        << "a reader that opened the camera after Duoscope quit";
    if (::testing::Test::HasFailure()) {
        std::system("cat \"$XDG_STATE_HOME\"/Duoscope/*.log");
    }
}

// The virtual camera on its own, through the steps of a session, starting on a node that
// another program left at another size: a reader gets the live picture while frames come,
// the still picture once they stop (the program hangs, or dies, with the node still open:
// the driver's timeout picture) and when broadcasting stops, and the live picture again as
// soon as frames come back, including after a restart.
TEST(VirtualCamera, ReadersGetTheStillPictureWhenFramesStopAndTheLiveOneWhenTheyCome) {
    std::vector<std::uint8_t> const live = CaptureTestFrames::Picture(kWidth, kHeight);
    std::vector<std::uint8_t> const liveYUYV = ToYUYV(live, kWidth, kHeight);
    // Another program left the node at another format, kept for readers that are gone:
    // Duoscope releases it.
    {
        ScopedFd control(::open(kVirtualCamera, O_RDWR | O_NONBLOCK | O_CLOEXEC));
        ASSERT_TRUE(SetControlByName(control.Get(), "keep_format", 0));
    }
    {
        PictureWriter other(kVirtualCamera, kCodecYUYV, 320, 240,
                            std::vector<std::uint8_t>(320 * 240 * 2, 0x80));
        ASSERT_TRUE(other.IsWriting());
        ScopedFd control(::open(kVirtualCamera, O_RDWR | O_NONBLOCK | O_CLOEXEC));
        ASSERT_TRUE(SetControlByName(control.Get(), "keep_format", 1));
    }
    LoopbackDevice device;
    ASSERT_TRUE(device.Open());
    ASSERT_EQ(device.DevicePath(), kVirtualCamera);
    ASSERT_TRUE(device.WriteFrame(live.data(), kWidth, kHeight, kWidth * 4));
    LoopbackReader reader(kVirtualCamera);
    ASSERT_TRUE(reader.Open(kWidth, kHeight));

    enum Writer { kWriting, kSilent };
    struct Step {
        char const* what;
        std::function<void()> action;
        Writer writer;
        std::vector<std::uint8_t> const& expected;
    };
    std::vector<std::uint8_t> const& still = device.StillPictureYUYV();
    Step const steps[] = {
        {"broadcasting", [] {}, kWriting, liveYUYV},
        {"frames stop, node open", [] {}, kSilent, still},
        {"frames again", [] {}, kWriting, liveYUYV},
        {"broadcasting stopped", [&] { device.CloseWithStillPicture(); }, kSilent, still},
        {"broadcasting again", [&] { ASSERT_TRUE(device.Open()); }, kWriting, liveYUYV},
    };
    std::vector<std::uint8_t> frame;
    for (Step const& step : steps) {
        SCOPED_TRACE(step.what);
        step.action();
        // Long enough for the timeout picture and a few frames queued before the step.
        auto const deadline =
            Clock::now() + std::chrono::milliseconds(3 * LoopbackDevice::kStillAfterMs);
        bool fSeen = false;
        while (!fSeen && Clock::now() < deadline) {
            if (step.writer == kWriting) {
                device.WriteFrame(live.data(), kWidth, kHeight, kWidth * 4);
            }
            fSeen = reader.Read(frame, 100) && frame == step.expected;
        }
        EXPECT_TRUE(fSeen);
    }
}

}  // namespace

// The virtual camera's frame size against the real v4l2loopback driver (Debian 12's 0.12): a
// fresh node opened at 640 x 480 takes a full side-by-side frame's 1280 x 480 while nobody
// reads it, and a reader then gets those frames whole. Its own case (fresh modules): once
// streamed, the driver keeps a node's size for good.

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <vector>

#include <gtest/gtest.h>
#include <linux/videodev2.h>

#include "CoreX/CoreMachDebugLog.h"
#include "component/LoopbackDevice.h"
#include "platform/capture/V4L2Resources.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr char kVirtualCamera[] = "/dev/video10";

// The capture side's frame size; 0 x 0 when it cannot be asked.
std::pair<int, int> ReaderSize(int fd) {
    v4l2_format format{};
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (V4L2Ioctl(fd, VIDIOC_G_FMT, &format) != 0) {
        return {0, 0};
    }
    return {int(format.fmt.pix.width), int(format.fmt.pix.height)};
}

// Writes `argb` until the reader gets `expected` (frames written earlier may come first).
bool WriteUntilSeen(LoopbackDevice& device, int fd, std::vector<std::uint32_t> const& argb,
                    int width, int height, std::vector<std::uint8_t> const& expected) {
    std::vector<std::uint8_t> frame(expected.size());
    auto const deadline = Clock::now() + std::chrono::seconds(20);
    while (Clock::now() < deadline) {
        device.WriteFrame(reinterpret_cast<std::uint8_t const*>(argb.data()), width, height,
                          width * 4);
        if (::read(fd, frame.data(), frame.size()) == ssize_t(frame.size()) &&
            frame == expected) {
            return true;
        }
        usleep(20 * 1000);
    }
    return false;
}

std::vector<std::uint8_t> YUYV(std::vector<std::uint32_t> const& argb, int width, int height) {
    std::vector<std::uint8_t> yuyv(std::size_t(width) * height * 2);
    LoopbackDevice::ConvertARGBToYUYV(reinterpret_cast<std::uint8_t const*>(argb.data()),
                                      width * 4, yuyv.data(), width, height);
    return yuyv;
}

TEST(LoopbackSize, AFullSideBySideFrameReformatsTheNodeWhileNobodyReadsIt) {
    CoreMachDebugLogSetUseLogger(kCoreLogOutputASL);  // the device's log lines on stderr
    LoopbackDevice device;
    ASSERT_TRUE(device.Open());
    ASSERT_EQ(device.DevicePath(), kVirtualCamera);
    EXPECT_EQ(device.Width(), 640);

    // Left half dark blue, right half light grey.
    std::vector<std::uint32_t> wide(1280 * 480);
    for (std::size_t i = 0; i < wide.size(); ++i) {
        wide[i] = (i % 1280) < 640 ? 0xFF102080u : 0xFFC0C0C0u;
    }
    device.WriteFrame(reinterpret_cast<std::uint8_t const*>(wide.data()), 1280, 480, 1280 * 4);
    EXPECT_EQ(device.Width(), 1280);
    EXPECT_EQ(device.Height(), 480);

    ScopedFd reader(::open(kVirtualCamera, O_RDWR | O_NONBLOCK | O_CLOEXEC));
    ASSERT_TRUE(reader.IsOpen());
    EXPECT_EQ(ReaderSize(reader.Get()), std::make_pair(1280, 480));
    EXPECT_TRUE(WriteUntilSeen(device, reader.Get(), wide, 1280, 480, YUYV(wide, 1280, 480)))
        << "the reader never got the side-by-side frame whole";
}

}  // namespace

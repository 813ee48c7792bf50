#include "tests/kernel/KernelDeviceSupport.h"

#include <fcntl.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <set>
#include <thread>
#include <vector>

#include <linux/videodev2.h>

#include "platform/capture/V4L2Resources.h"

namespace KernelDeviceSupport {

namespace {
constexpr auto kDeadline = std::chrono::seconds(30);
}

std::string NodeName(std::string const& devicePath) {
    std::string const node = devicePath.substr(devicePath.rfind('/') + 1);
    std::ifstream file("/sys/class/video4linux/" + node + "/name");
    std::string name;
    std::getline(file, name);
    return name;
}

bool SetControlByName(int fd, char const* name, int value) {
    v4l2_queryctrl query{};
    query.id = V4L2_CTRL_FLAG_NEXT_CTRL | V4L2_CTRL_FLAG_NEXT_COMPOUND;
    while (V4L2Ioctl(fd, VIDIOC_QUERYCTRL, &query) == 0) {
        if (std::strcmp(reinterpret_cast<char const*>(query.name), name) == 0) {
            v4l2_control control{query.id, value};
            int const err = V4L2Ioctl(fd, VIDIOC_S_CTRL, &control);
            if (err != 0) {
                std::printf("setting control '%s': %s\n", name, std::strerror(-err));
            }
            return err == 0;
        }
        query.id |= V4L2_CTRL_FLAG_NEXT_CTRL | V4L2_CTRL_FLAG_NEXT_COMPOUND;
    }
    std::printf("no control named '%s'\n", name);
    return false;
}

double DriverFramesPerSecond(std::string const& devicePath) {
    ScopedFd fd(::open(devicePath.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    v4l2_streamparm parm{};
    parm.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (!fd.IsOpen() || V4L2Ioctl(fd.Get(), VIDIOC_G_PARM, &parm) != 0) {
        return 0.0;
    }
    v4l2_fract const& interval = parm.parm.capture.timeperframe;
    return interval.numerator == 0 ? 0.0 : double(interval.denominator) / interval.numerator;
}

int OpenAndRecord(QCameraGrabCGContext& grabber, SGRect const& rect,
                  QCameraGrabberBase::Camera const* camera) {
    int err = grabber.OpenInitialize(rect, k32ARGBPixelFormat, camera);
    return err == noErr ? grabber.StartRecord() : err;
}

std::string CurrentCamera(QCameraGrabCGContext& grabber) {
    QCameraGrabberBase::Camera camera;
    return grabber.GetCurrentCamera(camera) ? PStr63ToString(camera.inputName) : "";
}

bool IdleUntilFrames(std::initializer_list<QCameraGrabCGContext*> grabbers, int frames) {
    std::vector<std::uint64_t> targets;
    for (QCameraGrabCGContext* grabber : grabbers) {
        targets.push_back(grabber->GetFrameStatistics().framesDecoded + frames);
    }
    return IdleUntil([&] {
        bool fAll = true;
        std::size_t i = 0;
        for (QCameraGrabCGContext* grabber : grabbers) {
            grabber->Idle();
            fAll = fAll && grabber->GetFrameStatistics().framesDecoded >= targets[i++];
        }
        return fAll;
    });
}

bool IdleUntil(std::function<bool()> const& done) {
    auto const deadline = std::chrono::steady_clock::now() + kDeadline;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

int DistinctColours(CoreGraphics::BitmapContext const& bitmap) {
    std::set<std::uint32_t> colours;
    for (std::uint32_t y = 0; y < bitmap.mImageHeight; y += 7) {
        auto const* row = bitmap.mImageDataBytes + std::size_t{y} * bitmap.mImageRowBytes;
        for (std::uint32_t x = 0; x < bitmap.mImageWidth; x += 5) {
            std::uint32_t colour;
            std::memcpy(&colour, row + 4 * x, 4);
            colours.insert(colour);
        }
    }
    return static_cast<int>(colours.size());
}

}  // namespace KernelDeviceSupport

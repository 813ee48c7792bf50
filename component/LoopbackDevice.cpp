#include "component/LoopbackDevice.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fcntl.h>
#include <fstream>
#include <unistd.h>

#include <linux/videodev2.h>
#include <sys/ioctl.h>

#include "CoreX/CoreMachDebugLog.h"
#include "component/SharedCameraMemory.h"
#include "component/StillPicture.h"
#include "libyuv/convert_from_argb.h"
#include "libyuv/scale_argb.h"

namespace {

constexpr int kWidth = SharedCameraMemory::kWidth;
constexpr int kHeight = SharedCameraMemory::kHeight;
constexpr int kYUYVRowBytes = kWidth * 2;
constexpr std::size_t kYUYVBytes = static_cast<std::size_t>(kYUYVRowBytes) * kHeight;

// Retries on EINTR; returns 0 or -errno.
int Ioctl(int fd, unsigned long request, void* argument) {
    int result;
    do {
        result = ioctl(fd, request, argument);
    } while (result < 0 && errno == EINTR);
    return result < 0 ? -errno : 0;
}

std::string FirstLine(std::filesystem::path const& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

// The kernel names a loopback node's parent device "v4l2loopback.N" (or "v4l2loopback-N")
// and binds it to the driver "v4l2loopback". Older drivers (0.12, Debian 12's) register their
// nodes without a parent device; their entries are known by the driver's own attribute.
bool IsLoopbackEntry(std::filesystem::path const& entry) {
    std::error_code error;
    if (std::filesystem::exists(entry / "max_openers", error)) {
        return true;
    }
    auto const device = std::filesystem::read_symlink(entry / "device", error);
    if (!error && device.filename().string().rfind("v4l2loopback", 0) == 0) {
        return true;
    }
    auto const driver = std::filesystem::read_symlink(entry / "device" / "driver", error);
    return !error && driver.filename() == "v4l2loopback";
}

}  // namespace

std::vector<LoopbackCandidate> LoopbackDevice::FindLoopbackDevices(std::string const& sysfsRoot,
                                                                   std::string const& devRoot) {
    std::vector<LoopbackCandidate> found;
    std::error_code error;
    for (auto const& entry : std::filesystem::directory_iterator(sysfsRoot, error)) {
        std::string const node = entry.path().filename().string();
        if (node.rfind("video", 0) != 0 || node.size() == 5 ||
            !std::all_of(node.begin() + 5, node.end(), [](char c) { return c >= '0' && c <= '9'; })) {
            continue;
        }
        if (!IsLoopbackEntry(entry.path())) {
            continue;
        }
        found.push_back({devRoot + "/" + node, FirstLine(entry.path() / "name"),
                         std::stoi(node.substr(5))});
    }
    std::sort(found.begin(), found.end(),
              [](LoopbackCandidate const& a, LoopbackCandidate const& b) {
                  return a.number < b.number;
              });
    return found;
}

std::optional<LoopbackCandidate> LoopbackDevice::ChooseLoopbackDevice(
    std::vector<LoopbackCandidate> const& candidates) {
    for (LoopbackCandidate const& candidate : candidates) {
        if (candidate.name == kPreferredName) {
            return candidate;
        }
    }
    if (candidates.empty()) {
        return std::nullopt;
    }
    return candidates.front();
}

LoopbackDevice::LoopbackDevice() : mYUYV(kYUYVBytes), mStill(kYUYVBytes) {
    std::vector<std::uint8_t> argb(static_cast<std::size_t>(SharedCameraMemory::kRowBytes) *
                                   kHeight);
    DrawNotBroadcastingPicture(argb.data(), kWidth, kHeight, SharedCameraMemory::kRowBytes);
    ConvertARGBToYUYV(argb.data(), SharedCameraMemory::kRowBytes, mStill.data(), kWidth, kHeight);
}

LoopbackDevice::~LoopbackDevice() { CloseWithStillPicture(); }

void LoopbackDevice::ConvertARGBToYUYV(std::uint8_t const* argb, int argbRowBytes,
                                       std::uint8_t* yuyv, int width, int height) {
    // BT.601 limited range, what webcams send and what readers of YUYV assume.
    libyuv::ARGBToYUY2(argb, argbRowBytes, yuyv, width * 2, width, height);
}

bool LoopbackDevice::Open() {
    if (mFd >= 0) {
        return true;
    }
    auto const chosen = ChooseLoopbackDevice(FindLoopbackDevices());
    if (!chosen) {
        CoreMachDebugLog("No v4l2loopback device: other programs cannot see the virtual camera "
                         "(modprobe v4l2loopback exclusive_caps=1 card_label=Duoscope)");
        return false;
    }
    int const fd = open(chosen->devicePath.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    VERIFY(fd >= 0);
    if (fd < 0) {
        CoreMachDebugLog("%s: %s", chosen->devicePath.c_str(), std::strerror(errno));
        return false;
    }
    v4l2_capability capability{};
    bool const loopback = Ioctl(fd, VIDIOC_QUERYCAP, &capability) == 0 &&
                          std::strcmp(reinterpret_cast<char const*>(capability.driver),
                                      "v4l2 loopback") == 0;
    VERIFY(loopback);
    if (!loopback || !SetFormat(fd, kWidth, kHeight)) {
        close(fd);
        return false;
    }
    mFd = fd;
    mWidth = kWidth;
    mHeight = kHeight;
    mYUYV.resize(kYUYVBytes);
    mDevicePath = chosen->devicePath;
    // Readers keep getting frames at the camera's rate even when a tick is late.
    SetControlByName("sustain_framerate", 1);
    CoreMachDebugLog("Virtual camera: writing to %s (%s)", mDevicePath.c_str(),
                     chosen->name.c_str());
    return true;
}

bool LoopbackDevice::SetFormat(int fd, int width, int height) {
    v4l2_format format{};
    format.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
    format.fmt.pix.width = static_cast<std::uint32_t>(width);
    format.fmt.pix.height = static_cast<std::uint32_t>(height);
    format.fmt.pix.pixelformat = V4L2_PIX_FMT_YUYV;
    format.fmt.pix.field = V4L2_FIELD_NONE;
    format.fmt.pix.bytesperline = static_cast<std::uint32_t>(width * 2);
    format.fmt.pix.sizeimage = static_cast<std::uint32_t>(width * 2 * height);
    format.fmt.pix.colorspace = V4L2_COLORSPACE_SMPTE170M;
    int const formatted = Ioctl(fd, VIDIOC_S_FMT, &format);
    VERIFY_ERR(formatted);
    // The driver may answer with the format it keeps (a reader holds it) instead of failing.
    return formatted == 0 && format.fmt.pix.pixelformat == V4L2_PIX_FMT_YUYV &&
           format.fmt.pix.width == static_cast<std::uint32_t>(width) &&
           format.fmt.pix.height == static_cast<std::uint32_t>(height);
}

bool LoopbackDevice::SetControlByName(char const* name, int value) {
    v4l2_queryctrl query{};
    query.id = V4L2_CTRL_FLAG_NEXT_CTRL;
    while (Ioctl(mFd, VIDIOC_QUERYCTRL, &query) == 0) {
        if (std::strcmp(reinterpret_cast<char const*>(query.name), name) == 0) {
            v4l2_control control{query.id, value};
            return Ioctl(mFd, VIDIOC_S_CTRL, &control) == 0;
        }
        query.id |= V4L2_CTRL_FLAG_NEXT_CTRL;
    }
    return false;
}

bool LoopbackDevice::WriteFrame(std::uint8_t const* argb, int width, int height, int rowBytes) {
    if (mFd < 0 || argb == nullptr || width < 1 || height < 1) {
        return false;
    }
    bool const otherSize = width != mWidth || height != mHeight;
    if (!otherSize) {
        mRefusedWidth = mRefusedHeight = 0;  // a later change is asked again
    } else if (width != mRefusedWidth || height != mRefusedHeight) {
        if (SetFormat(mFd, width, height)) {
            CoreMachDebugLog("Virtual camera: frames are now %d x %d", width, height);
            mWidth = width;
            mHeight = height;
            mYUYV.resize(static_cast<std::size_t>(width) * 2 * height);
        } else {
            CoreMachDebugLog(
                "Virtual camera: %s cannot change to %d x %d while a program reads "
                "it; the picture is scaled into %d x %d",
                mDevicePath.c_str(), width, height, mWidth, mHeight);
            mRefusedWidth = width;
            mRefusedHeight = height;
        }
    }
    if (width != mWidth || height != mHeight) {
        int const scaledRowBytes = mWidth * 4;
        mScaled.resize(static_cast<std::size_t>(scaledRowBytes) * mHeight);
        libyuv::ARGBScale(argb, rowBytes, width, height, mScaled.data(), scaledRowBytes, mWidth,
                          mHeight, libyuv::kFilterBilinear);
        argb = mScaled.data();
        rowBytes = scaledRowBytes;
    }
    ConvertARGBToYUYV(argb, rowBytes, mYUYV.data(), mWidth, mHeight);
    ssize_t const written = write(mFd, mYUYV.data(), mYUYV.size());
    if (written < 0 && errno != EAGAIN && errno != EINTR) {
        // The device went away (module removed): stop writing until the next start.
        CoreMachDebugLog("%s: %s; no longer writing to it", mDevicePath.c_str(),
                         std::strerror(errno));
        close(mFd);
        mFd = -1;
        return false;
    }
    return written == static_cast<ssize_t>(mYUYV.size());
}

void LoopbackDevice::CloseWithStillPicture() {
    if (mFd < 0) {
        return;
    }
    // The still picture becomes the device's timeout picture, which it shows readers when
    // no frame came for a while, and is written as a frame too, so that it is also what a
    // reader holds when its producer is gone.
    // The driver takes the timeout picture from the next program that opens it for output.
    if (SetControlByName("timeout_image_io", 1)) {
        int const imageFd = open(mDevicePath.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        VERIFY(imageFd >= 0);
        if (imageFd >= 0) {
            VERIFY(write(imageFd, mStill.data(), mStill.size()) ==
                   static_cast<ssize_t>(mStill.size()));
            close(imageFd);
            SetControlByName("timeout", 1000);
        }
    }
    VERIFY(write(mFd, mStill.data(), mStill.size()) == static_cast<ssize_t>(mStill.size()));
    close(mFd);
    mFd = -1;
}

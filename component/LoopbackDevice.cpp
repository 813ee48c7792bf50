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
#include <sys/mman.h>

#include "CoreX/CoreMachDebugLog.h"
#include "component/SharedCameraMemory.h"
#include "component/StillPicture.h"
#include "libyuv/convert_from_argb.h"
#include "libyuv/scale_argb.h"

namespace {

constexpr int kWidth = SharedCameraMemory::kWidth;
constexpr int kHeight = SharedCameraMemory::kHeight;

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

LoopbackDevice::LoopbackDevice() { MakeStillPicture(kWidth, kHeight); }

void LoopbackDevice::MakeStillPicture(int width, int height) {
    int const rowBytes = width * 4;
    std::vector<std::uint8_t> argb(static_cast<std::size_t>(rowBytes) * height);
    DrawNotBroadcastingPicture(argb.data(), width, height, rowBytes);
    mStill.resize(static_cast<std::size_t>(width) * 2 * height);
    ConvertARGBToYUYV(argb.data(), rowBytes, mStill.data(), width, height);
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
    if (!OpenAtSize(chosen->devicePath, kWidth, kHeight)) {
        return false;
    }
    CoreMachDebugLog("Virtual camera: writing to %s (%s)", mDevicePath.c_str(),
                     chosen->name.c_str());
    return true;
}

bool LoopbackDevice::OpenAtSize(std::string const& devicePath, int width, int height) {
    for (int attempt = 0; attempt < 2 && mFd < 0; ++attempt) {
        OpenAsYUYV(devicePath, width, height, attempt == 0);
    }
    if (mFd < 0) {
        return false;
    }
    mDevicePath = devicePath;
    mWidth = width;
    mHeight = height;
    mYUYV.resize(static_cast<std::size_t>(width) * 2 * height);
    MakeStillPicture(width, height);
    // Readers keep getting frames at the camera's rate even when a tick is late.
    SetControlByName(mFd, "sustain_framerate", 1);
    LoadTimeoutPicture();
    return true;
}

void LoopbackDevice::OpenAsYUYV(std::string const& devicePath, int width, int height,
                                bool fFirstAttempt) {
    int const fd = open(devicePath.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    VERIFY(fd >= 0);
    if (fd < 0) {
        CoreMachDebugLog("%s: %s", devicePath.c_str(), std::strerror(errno));
        return;
    }
    v4l2_capability capability{};
    bool const loopback = Ioctl(fd, VIDIOC_QUERYCAP, &capability) == 0 &&
                          std::strcmp(reinterpret_cast<char const*>(capability.driver),
                                      "v4l2 loopback") == 0;
    VERIFY(loopback);
    v4l2_format format{};
    format.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
    format.fmt.pix.width = static_cast<std::uint32_t>(width);
    format.fmt.pix.height = static_cast<std::uint32_t>(height);
    format.fmt.pix.pixelformat = V4L2_PIX_FMT_YUYV;
    format.fmt.pix.field = V4L2_FIELD_NONE;
    format.fmt.pix.bytesperline = static_cast<std::uint32_t>(width * 2);
    format.fmt.pix.sizeimage = static_cast<std::uint32_t>(width * 2 * height);
    format.fmt.pix.colorspace = V4L2_COLORSPACE_SMPTE170M;
    int const formatted = loopback ? Ioctl(fd, VIDIOC_S_FMT, &format) : -ENODEV;
    VERIFY_ERR(formatted);
    if (formatted != 0 || format.fmt.pix.pixelformat != V4L2_PIX_FMT_YUYV ||
        format.fmt.pix.width != static_cast<std::uint32_t>(width) ||
        format.fmt.pix.height != static_cast<std::uint32_t>(height)) {
        // The driver keeps the format of the frames it holds; a node that was kept for
        // readers of an earlier writer lets it go when its last reader closes.
        CoreMachDebugLog("%s refuses %dx%d YUYV (%ux%u)%s", devicePath.c_str(), width, height,
                         format.fmt.pix.width, format.fmt.pix.height,
                         fFirstAttempt && formatted == 0 ? "; releasing it" : "");
        if (fFirstAttempt && formatted == 0) {
            SetControlByName(fd, "keep_format", 0);
        }
        close(fd);
        return;
    }
    // Frames go with write(), but streaming marks this descriptor as the node's writer, and
    // only a writer's close makes the driver (0.12) offer output again. Without it a node
    // left by Duoscope with nobody reading offers neither capture nor output, and refuses
    // the format of the next writer: Duoscope started again could not broadcast.
    int type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
    VERIFY_ERR(Ioctl(fd, VIDIOC_STREAMON, &type));
    mFd = fd;
}

void LoopbackDevice::LoadTimeoutPicture() {
    // v4l2loopback (0.12, Debian 12's) shows readers its timeout picture when no frame came
    // for the timeout, and with keep_format it holds its frames and that picture after the
    // last program closes it. So readers, those reading throughout and those that open the
    // camera later, get "not broadcasting" when Duoscope stops, quits or dies, instead of a
    // frozen frame or none. The picture is loaded through a second descriptor: the driver
    // hands it to the next opener after timeout_image_io is set, and that opener maps it
    // from the offset past the frame buffers that QUERYBUF reports (write() would put it in
    // the live stream). The control framework passes on only a changed value, while the
    // driver clears its flag by itself at that open: so the flag goes to 0 before 1.
    if (!SetControlByName(mFd, "keep_format", 1) || !SetControlByName(mFd, "timeout_image_io", 0) ||
        !SetControlByName(mFd, "timeout_image_io", 1)) {
        CoreMachDebugLog("%s has no timeout picture: readers may freeze when Duoscope stops",
                         mDevicePath.c_str());
        return;
    }
    int const fd = open(mDevicePath.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    VERIFY(fd >= 0);
    if (fd < 0) {
        return;
    }
    v4l2_buffer buffer{};
    buffer.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
    buffer.memory = V4L2_MEMORY_MMAP;
    int const queried = Ioctl(fd, VIDIOC_QUERYBUF, &buffer);
    VERIFY_ERR(queried);
    // Offset 0 is the first frame buffer: another program opened the node in between and
    // took the picture's place; writing here would show in the live stream.
    bool const fTimeoutBuffer =
        queried == 0 && buffer.m.offset != 0 && buffer.length >= mStill.size();
    VERIFY(fTimeoutBuffer);
    if (fTimeoutBuffer) {
        void* const picture = mmap(nullptr, mStill.size(), PROT_READ | PROT_WRITE, MAP_SHARED, fd,
                                   static_cast<off_t>(buffer.m.offset));
        VERIFY(picture != MAP_FAILED);
        if (picture != MAP_FAILED) {
            std::memcpy(picture, mStill.data(), mStill.size());
            munmap(picture, mStill.size());
            VERIFY(SetControlByName(mFd, "timeout", kStillAfterMs));
        }
    }
    close(fd);
}

bool LoopbackDevice::SetControlByName(int fd, char const* name, int value) {
    v4l2_queryctrl query{};
    query.id = V4L2_CTRL_FLAG_NEXT_CTRL;
    while (Ioctl(fd, VIDIOC_QUERYCTRL, &query) == 0) {
        if (std::strcmp(reinterpret_cast<char const*>(query.name), name) == 0) {
            v4l2_control control{query.id, value};
            return Ioctl(fd, VIDIOC_S_CTRL, &control) == 0;
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
        // The driver changes a writer's format only between writers: close and reopen at the
        // new size, or, where a reader holds the old one, go back to it.
        int const oldWidth = mWidth;
        int const oldHeight = mHeight;
        std::string const devicePath = mDevicePath;
        close(mFd);
        mFd = -1;
        if (OpenAtSize(devicePath, width, height)) {
            CoreMachDebugLog("Virtual camera: frames are now %d x %d", width, height);
        } else {
            CoreMachDebugLog(
                "Virtual camera: %s cannot change to %d x %d while a program reads "
                "it; the picture is scaled into %d x %d",
                devicePath.c_str(), width, height, oldWidth, oldHeight);
            mRefusedWidth = width;
            mRefusedHeight = height;
            if (!OpenAtSize(devicePath, oldWidth, oldHeight)) {
                return false;
            }
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
    // The last frame, repeated to readers at the frame rate; the timeout picture takes over
    // after a while in any case.
    VERIFY(write(mFd, mStill.data(), mStill.size()) == static_cast<ssize_t>(mStill.size()));
    close(mFd);
    mFd = -1;
}

#include "tests/kernel/KernelDeviceSupport.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <thread>
#include <vector>

#include <linux/videodev2.h>

#include <QImage>

#include <libyuv.h>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

#include "CoreX/CoreMachDebugLog.h"
#include "platform/capture/V4L2Resources.h"
#include "tests/platform/CaptureTestFrames.h"

namespace KernelDeviceSupport {

namespace {
constexpr auto kDeadline = std::chrono::seconds(30);

// The program's own log lines go to standard error, which the VM's console carries out.
[[maybe_unused]] bool const sLogToConsole = [] {
    CoreMachDebugLogSetUseLogger(kCoreLogOutputASL);
    return true;
}();
}  // namespace

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

PictureWriter::PictureWriter(std::string const& devicePath, std::uint32_t pixelFormat, int width,
                             int height, std::vector<std::uint8_t> frame)
    : mFrame(std::move(frame)) {
    ScopedFd fd(::open(devicePath.c_str(), O_RDWR | O_CLOEXEC));
    char const* failure =
        fd.IsOpen() ? Start(fd.Get(), pixelFormat, width, height) : "cannot open it";
    if (failure != nullptr) {
        std::printf("PictureWriter: %s: %s\n", devicePath.c_str(), failure);
        return;
    }
    mFd = std::move(fd);
    mThread = std::thread([this] {
        while (!mStop.load()) {
            pollfd ready{mFd.Get(), POLLOUT, 0};
            if (::poll(&ready, 1, 100) <= 0) {
                continue;
            }
            v4l2_buffer buffer{};
            buffer.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
            buffer.memory = V4L2_MEMORY_MMAP;
            if (V4L2Ioctl(mFd.Get(), VIDIOC_DQBUF, &buffer) != 0) {
                continue;
            }
            buffer.bytesused = static_cast<std::uint32_t>(mFrame.size());
            V4L2Ioctl(mFd.Get(), VIDIOC_QBUF, &buffer);
            ++mFramesWritten;
        }
    });
}

char const* PictureWriter::Start(int fd, std::uint32_t pixelFormat, int width, int height) {
    v4l2_format format{};
    format.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
    format.fmt.pix.pixelformat = pixelFormat;
    format.fmt.pix.width = static_cast<std::uint32_t>(width);
    format.fmt.pix.height = static_cast<std::uint32_t>(height);
    format.fmt.pix.field = V4L2_FIELD_NONE;
    format.fmt.pix.sizeimage = static_cast<std::uint32_t>(mFrame.size());
    if (V4L2Ioctl(fd, VIDIOC_S_FMT, &format) != 0) {
        return "the format is refused";
    }
    // Streams through memory-mapped buffers that all hold the frame: each one dequeued
    // goes straight back. (vivid's output has no write().)
    v4l2_requestbuffers request{};
    request.count = 3;
    request.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
    request.memory = V4L2_MEMORY_MMAP;
    if (V4L2Ioctl(fd, VIDIOC_REQBUFS, &request) != 0 || request.count == 0) {
        return "no buffers";
    }
    for (std::uint32_t index = 0; index < request.count; ++index) {
        v4l2_buffer buffer{};
        buffer.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
        buffer.memory = V4L2_MEMORY_MMAP;
        buffer.index = index;
        V4L2Ioctl(fd, VIDIOC_QUERYBUF, &buffer);
        void* data =
            ::mmap(nullptr, buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED, fd, buffer.m.offset);
        if (data == MAP_FAILED || buffer.length < mFrame.size()) {
            return "cannot map a buffer";
        }
        std::memcpy(data, mFrame.data(), mFrame.size());
        ::munmap(data, buffer.length);
        buffer.bytesused = static_cast<std::uint32_t>(mFrame.size());
        V4L2Ioctl(fd, VIDIOC_QBUF, &buffer);
    }
    int type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
    return V4L2Ioctl(fd, VIDIOC_STREAMON, &type) == 0 ? nullptr : "cannot stream";
}

PictureWriter::~PictureWriter() {
    mStop = true;
    if (mThread.joinable()) {
        mThread.join();
    }
    if (mFd.IsOpen()) {
        int type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
        V4L2Ioctl(mFd.Get(), VIDIOC_STREAMOFF, &type);
    }
}

bool LoopbackReader::Open(int width, int height) {
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    v4l2_format format{};
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    while (!mFd.IsOpen()) {
        ScopedFd fd(::open(mDevicePath.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
        v4l2_capability capability{};
        if (fd.IsOpen() && V4L2Ioctl(fd.Get(), VIDIOC_QUERYCAP, &capability) == 0 &&
            (capability.device_caps & V4L2_CAP_VIDEO_CAPTURE) != 0 &&
            V4L2Ioctl(fd.Get(), VIDIOC_G_FMT, &format) == 0) {
            mFd = std::move(fd);
        } else if (std::chrono::steady_clock::now() > deadline) {
            std::printf("%s never became a camera\n", mDevicePath.c_str());
            return false;
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    }
    if (format.fmt.pix.pixelformat != V4L2_PIX_FMT_YUYV || int(format.fmt.pix.width) != width ||
        int(format.fmt.pix.height) != height) {
        std::printf("%s captures %ux%u, not YUYV %dx%d\n", mDevicePath.c_str(),
                    format.fmt.pix.width, format.fmt.pix.height, width, height);
        return false;
    }
    v4l2_requestbuffers request{};
    request.count = 4;
    request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    request.memory = V4L2_MEMORY_MMAP;
    if (V4L2Ioctl(mFd.Get(), VIDIOC_REQBUFS, &request) != 0 || request.count == 0) {
        return false;
    }
    for (std::uint32_t index = 0; index < request.count; ++index) {
        v4l2_buffer buffer{};
        buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buffer.memory = V4L2_MEMORY_MMAP;
        buffer.index = index;
        if (V4L2Ioctl(mFd.Get(), VIDIOC_QUERYBUF, &buffer) != 0 ||
            mBuffers.emplace_back().Map(mFd.Get(), buffer.length, buffer.m.offset) != 0) {
            return false;
        }
        V4L2Ioctl(mFd.Get(), VIDIOC_QBUF, &buffer);
    }
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    return V4L2Ioctl(mFd.Get(), VIDIOC_STREAMON, &type) == 0;
}

bool LoopbackReader::Read(std::vector<std::uint8_t>& frame, int timeoutMs) {
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (mFd.IsOpen() && std::chrono::steady_clock::now() < deadline) {
        pollfd ready{mFd.Get(), POLLIN, 0};
        ::poll(&ready, 1, 20);
        v4l2_buffer buffer{};
        buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buffer.memory = V4L2_MEMORY_MMAP;
        int const err = V4L2Ioctl(mFd.Get(), VIDIOC_DQBUF, &buffer);
        if (err == -EAGAIN) {
            continue;
        }
        if (err != 0 || buffer.index >= mBuffers.size()) {
            std::printf("reading %s: %s\n", mDevicePath.c_str(), std::strerror(-err));
            return false;
        }
        MappedBuffer const& mapped = mBuffers[buffer.index];
        frame.assign(mapped.Data(),
                     mapped.Data() + std::min<std::size_t>(buffer.bytesused, mapped.Length()));
        V4L2Ioctl(mFd.Get(), VIDIOC_QBUF, &buffer);
        return true;
    }
    return false;
}

std::vector<std::uint8_t> ToYUYV(std::vector<std::uint8_t> const& argb, int width, int height) {
    std::vector<std::uint8_t> yuyv(std::size_t(width) * height * 2);
    libyuv::ARGBToYUY2(argb.data(), width * 4, yuyv.data(), width * 2, width, height);
    return yuyv;
}

std::vector<std::uint8_t> FromYUYV(std::vector<std::uint8_t> const& yuyv, int width, int height) {
    std::vector<std::uint8_t> argb(std::size_t(width) * height * 4);
    libyuv::YUY2ToARGB(yuyv.data(), width * 2, argb.data(), width * 4, width, height);
    return argb;
}

std::vector<std::uint8_t> Mirrored(std::vector<std::uint8_t> const& argb, int width, int height) {
    std::vector<std::uint8_t> mirrored(argb.size());
    libyuv::ARGBMirror(argb.data(), width * 4, mirrored.data(), width * 4, width, height);
    return mirrored;
}

LoopedPictureCameras::LoopedPictureCameras()
    : leftPicture(CaptureTestFrames::Picture(640, 480)),
      rightPicture(Mirrored(leftPicture, 640, 480)),
      leftSensor("/dev/video1", kCodecYUYV, 640, 480, ToYUYV(leftPicture, 640, 480)),
      rightSensor("/dev/video3", kCodecYUYV, 640, 480, ToYUYV(rightPicture, 640, 480)) {
    // vivid also writes text over the picture unless told not to.
    auto const loop = [](char const* capturePath) {
        ScopedFd fd(::open(capturePath, O_RDWR | O_NONBLOCK | O_CLOEXEC));
        return fd.IsOpen() && SetControlByName(fd.Get(), "Loop Video", 1) &&
               SetControlByName(fd.Get(), "OSD Text Mode", 2);
    };
    fLooping = leftSensor.IsWriting() && rightSensor.IsWriting() && loop("/dev/video0") &&
               loop("/dev/video2");
}

double DifferenceFrom(CoreGraphics::BitmapContext const& bitmap,
                      std::vector<std::uint8_t> const& argb) {
    int const width = static_cast<int>(bitmap.mImageWidth);
    return CaptureTestFrames::MeanDifference(
        bitmap.mImageDataBytes, static_cast<int>(bitmap.mImageRowBytes), argb.data(), width * 4,
        width, static_cast<int>(bitmap.mImageHeight));
}

void SaveForPeople(CoreGraphics::BitmapContext const& bitmap, char const* fileName) {
    SaveForPeople(bitmap.mImageDataBytes, int(bitmap.mImageWidth), int(bitmap.mImageHeight),
                  int(bitmap.mImageRowBytes), fileName);
}

void SaveForPeople(std::uint8_t const* argb, int width, int height, int rowBytes,
                   char const* fileName) {
    char const* folder = std::getenv("DUOSCOPE_KERNEL_OUT");
    if (folder != nullptr) {
        QImage(argb, width, height, rowBytes, QImage::Format_ARGB32)
            .save(QString::fromUtf8(folder) + "/" + fileName);
    }
}

}  // namespace KernelDeviceSupport

#pragma once
// What the kernel-device cases share: controls found by name (their ids change between
// kernels), node names from sysfs, and grabbers idled until frames arrive, with generous
// deadlines since the VM emulates its processor.

#include <atomic>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "QClasses/QCameraGrabCGContext.h"
#include "platform/capture/V4L2Resources.h"

namespace KernelDeviceSupport {

// The sysfs name of a /dev/videoN node ("vivid-000-vid-cap").
std::string NodeName(std::string const& devicePath);
// Sets the control called `name` on an open node; false (with the reason printed) if it has
// none or refuses.
bool SetControlByName(int fd, char const* name, int value);
// The frame rate the driver reports for the node's capture queue.
double DriverFramesPerSecond(std::string const& devicePath);

// OpenInitialize and StartRecord; `camera` null: the default camera.
int OpenAndRecord(QCameraGrabCGContext& grabber, SGRect const& rect,
                  QCameraGrabberBase::Camera const* camera);
std::string CurrentCamera(QCameraGrabCGContext& grabber);
// Idles every grabber until each has decoded `frames` more frames; false after 30 s.
bool IdleUntilFrames(std::initializer_list<QCameraGrabCGContext*> grabbers, int frames);
// Waits (idling nothing) until `done` holds; false after 30 s.
bool IdleUntil(std::function<bool()> const& done);
// How many different colours a sample of the picture has (a blank picture has one).
int DistinctColours(CoreGraphics::BitmapContext const& bitmap);

// Feeds an output node (vivid's HDMI output, a loopback) with one picture over and over from
// its own thread, as a camera's sensor would, until destroyed.
class PictureWriter {
public:
    // `frame` is written whole each time; `pixelFormat` and the size set the node's format
    // (sizeimage is the frame's size, which JPEG frames need).
    PictureWriter(std::string const& devicePath, std::uint32_t pixelFormat, int width, int height,
                  std::vector<std::uint8_t> frame);
    ~PictureWriter();
    bool IsWriting() const { return mFd.IsOpen(); }
    int FramesWritten() const { return mFramesWritten.load(); }

private:
    // The format, buffers that all hold the frame, and streaming; the failure, or null.
    char const* Start(int fd, std::uint32_t pixelFormat, int width, int height);

    ScopedFd mFd;
    std::vector<std::uint8_t> mFrame;
    std::atomic<bool> mStop{false};
    std::atomic<int> mFramesWritten{0};
    std::thread mThread;
};

// Reads a loopback node's capture side as browsers and ffmpeg do (memory-mapped buffers,
// poll, VIDIOC_DQBUF), once a writer has made the node a camera: until then, with
// exclusive_caps, it only takes output.
class LoopbackReader {
public:
    explicit LoopbackReader(std::string devicePath) : mDevicePath(std::move(devicePath)) {}
    // Waits up to 60 s for the node to offer YUYV width x height, then starts streaming.
    bool Open(int width, int height);
    // The next frame; false when none comes within `timeoutMs`.
    bool Read(std::vector<std::uint8_t>& frame, int timeoutMs);

private:
    std::string mDevicePath;
    ScopedFd mFd;
    std::vector<MappedBuffer> mBuffers;  // unmapped before the descriptor closes
};

// 32-bit ARGB (bytes B, G, R, A) to YUYV, as a camera would send it, and back.
std::vector<std::uint8_t> ToYUYV(std::vector<std::uint8_t> const& argb, int width, int height);
std::vector<std::uint8_t> FromYUYV(std::vector<std::uint8_t> const& yuyv, int width, int height);
// The picture mirrored left to right: a second known picture unlike the first.
std::vector<std::uint8_t> Mirrored(std::vector<std::uint8_t> const& argb, int width, int height);
// Two vivid instances with their HDMI outputs looped into their capture nodes (/dev/video0
// and /dev/video2): 640 x 480 cameras showing a known picture and its mirror image.
struct LoopedPictureCameras {
    LoopedPictureCameras();
    bool IsLooping() const { return fLooping; }

    std::vector<std::uint8_t> const leftPicture;
    std::vector<std::uint8_t> const rightPicture;
    PictureWriter leftSensor;
    PictureWriter rightSensor;

private:
    bool fLooping = false;
};

// Mean absolute difference of a grabber's picture from `argb` (same size).
double DifferenceFrom(CoreGraphics::BitmapContext const& bitmap,
                      std::vector<std::uint8_t> const& argb);
// Saves the picture as a PNG in the result share ($DUOSCOPE_KERNEL_OUT), for a person
// looking into a failure.
void SaveForPeople(CoreGraphics::BitmapContext const& bitmap, char const* fileName);
void SaveForPeople(std::uint8_t const* argb, int width, int height, int rowBytes,
                   char const* fileName);

}  // namespace KernelDeviceSupport

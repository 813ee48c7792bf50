// V4L2Source streaming from a USB webcam replayed through the ioctl seam: the answers a real
// uvcvideo camera gives, its buffer queue kept as the driver keeps it, and its buffers in a
// file that V4L2Source maps as it maps the driver's memory. What it asks for, how it takes
// frames from the queue and gives them back, and the faults real cameras have.

#include "platform/capture/V4L2Source.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

#include <linux/videodev2.h>

#include <gtest/gtest.h>

#include "platform/capture/V4L2Resources.h"
#include "tests/support/TestEnvironment.h"
#include "tests/support/TestLogCapture.h"

namespace {

class ReplayCamera {
public:
    static constexpr std::uint32_t kBufferLength = 65536;
    static constexpr std::uint32_t kBufferCount = 4;

    struct Format {
        std::uint32_t code;
        std::vector<std::pair<std::uint32_t, std::uint32_t>> sizes;
    };

    ReplayCamera() : path(TestEnvironment::Home() + "/video0") {
        TestEnvironment::WriteFile(path, std::string(kBufferCount * kBufferLength, '\0'));
    }

    std::string path;
    // What it answers.
    std::vector<Format> formats = {{kCodecYUYV, {{640, 480}, {1280, 720}}},
                                   {kCodecMJPEG, {{1280, 720}, {640, 480}, {320, 240}}}};
    std::uint32_t paddedBytesPerLine = 0;  // for raw formats; 0: no padding
    bool timePerFrame = true;
    std::map<unsigned long, std::vector<int>> faults;  // errno answers, one per call, in order
    bool vanished = false;                             // every request: ENODEV
    // What it was asked.
    v4l2_pix_format format{};
    v4l2_fract interval{};
    // The driver's queue: buffers given to it, and filled ones waiting to be taken.
    std::deque<std::uint32_t> queued;
    std::deque<v4l2_buffer> done;
    bool streaming = false;

    // The camera fills the next queued buffer with `content`.
    void Fill(std::string const& content, std::uint32_t flags = 0) {
        ASSERT_FALSE(queued.empty());
        v4l2_buffer buffer{};
        buffer.index = queued.front();
        buffer.bytesused = static_cast<std::uint32_t>(content.size());
        buffer.flags = flags;
        buffer.sequence = mSequence++;
        queued.pop_front();
        int const fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
        ASSERT_GE(fd, 0);
        EXPECT_EQ(::pwrite(fd, content.data(), content.size(), buffer.index * kBufferLength),
                  static_cast<ssize_t>(content.size()));
        ::close(fd);
        done.push_back(buffer);
    }
    bool IsQueued(std::uint32_t index) const {
        return std::find(queued.begin(), queued.end(), index) != queued.end();
    }

    int Answer(unsigned long request, void* arg) {
        if (vanished) {
            return Error(ENODEV);
        }
        if (auto fault = faults.find(request); fault != faults.end() && !fault->second.empty()) {
            int const err = fault->second.front();
            fault->second.erase(fault->second.begin());
            return Error(err);
        }
        switch (request) {
            case VIDIOC_QUERYCAP: {
                auto& capability = *static_cast<v4l2_capability*>(arg);
                capability = {};
                std::strcpy(reinterpret_cast<char*>(capability.driver), "uvcvideo");
                std::strcpy(reinterpret_cast<char*>(capability.card), "USB Camera");
                std::strcpy(reinterpret_cast<char*>(capability.bus_info), "usb-0000:00:14.0-1");
                capability.device_caps = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
                capability.capabilities = capability.device_caps | V4L2_CAP_DEVICE_CAPS;
                return 0;
            }
            case VIDIOC_S_INPUT:
                return *static_cast<int*>(arg) == 0 ? 0 : Error(EINVAL);
            case VIDIOC_ENUM_FMT: {
                auto& description = *static_cast<v4l2_fmtdesc*>(arg);
                if (description.index >= formats.size()) {
                    return Error(EINVAL);
                }
                description.pixelformat = formats[description.index].code;
                return 0;
            }
            case VIDIOC_ENUM_FRAMESIZES: {
                auto& size = *static_cast<v4l2_frmsizeenum*>(arg);
                Format const* format = Find(size.pixel_format);
                if (format == nullptr || size.index >= format->sizes.size()) {
                    return Error(EINVAL);
                }
                size.type = V4L2_FRMSIZE_TYPE_DISCRETE;
                size.discrete = {format->sizes[size.index].first, format->sizes[size.index].second};
                return 0;
            }
            case VIDIOC_ENUM_FRAMEINTERVALS: {
                auto& answer = *static_cast<v4l2_frmivalenum*>(arg);
                if (answer.index >= 3) {
                    return Error(EINVAL);
                }
                answer.type = V4L2_FRMIVAL_TYPE_DISCRETE;
                answer.discrete = {1, std::uint32_t{60} >> answer.index};  // 60, 30, 15 a second
                return 0;
            }
            case VIDIOC_S_FMT: {
                v4l2_pix_format& pix = static_cast<v4l2_format*>(arg)->fmt.pix;
                bool const fRaw = pix.pixelformat != kCodecMJPEG;
                pix.bytesperline = !fRaw                     ? 0
                                   : paddedBytesPerLine != 0 ? paddedBytesPerLine
                                                             : 2 * pix.width;
                pix.sizeimage = fRaw ? pix.bytesperline * pix.height : kBufferLength;
                format = pix;
                return 0;
            }
            case VIDIOC_G_PARM: {
                auto& parm = *static_cast<v4l2_streamparm*>(arg);
                parm.parm.capture.capability = timePerFrame ? V4L2_CAP_TIMEPERFRAME : 0;
                parm.parm.capture.timeperframe = {1, 15};
                return 0;
            }
            case VIDIOC_S_PARM:
                interval = static_cast<v4l2_streamparm*>(arg)->parm.capture.timeperframe;
                return 0;
            case VIDIOC_REQBUFS:
                static_cast<v4l2_requestbuffers*>(arg)->count = kBufferCount;
                return 0;
            case VIDIOC_QUERYBUF: {
                auto& buffer = *static_cast<v4l2_buffer*>(arg);
                if (buffer.index >= kBufferCount) {
                    return Error(EINVAL);
                }
                buffer.length = kBufferLength;
                buffer.m.offset = buffer.index * kBufferLength;
                return 0;
            }
            case VIDIOC_QBUF: {
                std::uint32_t const index = static_cast<v4l2_buffer*>(arg)->index;
                bool const fDone = std::any_of(done.begin(), done.end(),
                                               [index](auto const& b) { return b.index == index; });
                if (index >= kBufferCount || IsQueued(index) || fDone) {
                    return Error(EINVAL);
                }
                queued.push_back(index);
                return 0;
            }
            case VIDIOC_DQBUF:
                if (!streaming) {
                    return Error(EINVAL);
                }
                if (done.empty()) {
                    return Error(EAGAIN);
                }
                *static_cast<v4l2_buffer*>(arg) = done.front();
                done.pop_front();
                return 0;
            case VIDIOC_STREAMON:
                streaming = true;
                return 0;
            case VIDIOC_STREAMOFF:
                streaming = false;
                queued.clear();
                done.clear();
                return 0;
            default:
                return Error(ENOTTY);
        }
    }

private:
    static int Error(int err) {
        errno = err;
        return -1;
    }
    Format const* Find(std::uint32_t code) const {
        for (Format const& format : formats) {
            if (format.code == code) {
                return &format;
            }
        }
        return nullptr;
    }

    std::uint32_t mSequence = 0;
};

ReplayCamera* sCamera = nullptr;

int ReplayIoctl(int fd, unsigned long request, void* arg) { return sCamera->Answer(request, arg); }

// Keeps what a source delivers.
class FrameCollector : public CaptureFrameHandler {
public:
    int OnFrame(std::uint8_t const* data, std::size_t size, std::int64_t timeUs) override {
        frames.emplace_back(reinterpret_cast<char const*>(data), size);
        return noErr;
    }
    std::vector<std::string> frames;
};

std::size_t OpenFileCount() {
    std::size_t count = 0;
    for ([[maybe_unused]] auto const& entry :
         std::filesystem::directory_iterator("/proc/self/fd")) {
        ++count;
    }
    return count;
}

class V4L2SourceTest : public ::testing::Test {
protected:
    void SetUp() override {
        sCamera = &mCamera;
        SetV4L2IoctlFunction(ReplayIoctl);
    }
    void TearDown() override {
        SetV4L2IoctlFunction(nullptr);
        sCamera = nullptr;
    }

    int Open(V4L2Source& source, int width = 640, int height = 480) {
        return source.Open(mCamera.path, "USB Camera", 0, width, height);
    }

    ReplayCamera mCamera;
};

TEST_F(V4L2SourceTest, AsksForMJPEGAtTheRequestAndThirtyFramesASecond) {
    V4L2Source source;
    ASSERT_EQ(Open(source), noErr);
    EXPECT_EQ(mCamera.format.pixelformat, kCodecMJPEG);
    EXPECT_EQ(mCamera.format.width, 640u);
    EXPECT_EQ(mCamera.format.height, 480u);
    EXPECT_EQ(mCamera.interval.numerator, 1u);
    EXPECT_EQ(mCamera.interval.denominator, 30u);
    EXPECT_EQ(source.FramesPerSecond(), 30.0);
    EXPECT_EQ(source.Description().cType, kCodecMJPEG);
    // Beside a camera that runs at 15, it is asked for 15 too.
    V4L2Source inStep;
    ASSERT_EQ(inStep.Open(mCamera.path, "USB Camera", 0, 640, 480, 15.0), noErr);
    EXPECT_EQ(mCamera.interval.denominator, 15u);
    EXPECT_EQ(inStep.FramesPerSecond(), 15.0);

    // A raw camera with padded rows: the driver's row length is kept.
    mCamera.formats = {{kCodecYUYV, {{640, 480}}}};
    mCamera.paddedBytesPerLine = 1536;
    V4L2Source raw;
    ASSERT_EQ(Open(raw), noErr);
    EXPECT_EQ(raw.Description().cType, kCodecYUYV);
    EXPECT_EQ(raw.Description().bytesPerLine, 1536);
}

TEST_F(V4L2SourceTest, GrabDeliversTheNewestReadyFrameAndRequeuesEveryBuffer) {
    V4L2Source source;
    ASSERT_EQ(Open(source), noErr);
    ASSERT_EQ(source.Start(), noErr);
    EXPECT_EQ(mCamera.queued.size(), ReplayCamera::kBufferCount);
    FrameCollector collector;
    EXPECT_EQ(source.Grab(collector), noErr);  // nothing ready: EAGAIN
    EXPECT_TRUE(collector.frames.empty());

    mCamera.Fill("frame 0");
    mCamera.Fill("frame 1");
    mCamera.Fill("frame 2");
    mCamera.faults[VIDIOC_DQBUF] = {EINTR};  // a signal interrupts the first dequeue
    EXPECT_EQ(source.Grab(collector), noErr);
    EXPECT_EQ(collector.frames, std::vector<std::string>{"frame 2"});
    EXPECT_EQ(mCamera.queued.size(), ReplayCamera::kBufferCount);

    // Stopped and started again, every buffer is the driver's again.
    EXPECT_EQ(source.Stop(), noErr);
    EXPECT_FALSE(mCamera.streaming);
    ASSERT_EQ(source.Start(), noErr);
    EXPECT_EQ(mCamera.queued.size(), ReplayCamera::kBufferCount);
}

TEST_F(V4L2SourceTest, ADamagedFrameCostsOnlyItself) {
    V4L2Source source;
    ASSERT_EQ(Open(source), noErr);
    ASSERT_EQ(source.Start(), noErr);
    FrameCollector collector;
    TestLogCapture log;

    // A good frame, then a damaged one: the good one is still shown.
    mCamera.Fill("good");
    mCamera.Fill("damaged", V4L2_BUF_FLAG_ERROR);
    EXPECT_EQ(source.Grab(collector), noErr);
    EXPECT_EQ(collector.frames, std::vector<std::string>{"good"});
    EXPECT_EQ(mCamera.queued.size(), ReplayCamera::kBufferCount);
    EXPECT_TRUE(log.Contains("flagged as damaged, dropped"));

    // A camera that keeps sending damaged frames is logged once, not once a frame.
    for (int i = 0; i < 3; ++i) {
        mCamera.Fill("damaged", V4L2_BUF_FLAG_ERROR);
        EXPECT_EQ(source.Grab(collector), noErr);
    }
    EXPECT_EQ(collector.frames.size(), 1u);
    EXPECT_EQ(mCamera.queued.size(), ReplayCamera::kBufferCount);
    EXPECT_EQ(log.Count("flagged as damaged"), 1u) << log.Lines();

    // A buffer the driver refuses to take back does not keep the newer one from it.
    mCamera.Fill("older");
    std::uint32_t const newer = mCamera.queued.front();
    mCamera.Fill("newer");
    mCamera.faults[VIDIOC_QBUF] = {EINVAL};
    EXPECT_EQ(source.Grab(collector), noErr);
    EXPECT_EQ(collector.frames.back(), "newer");
    EXPECT_TRUE(mCamera.IsQueued(newer));
    EXPECT_TRUE(log.Contains("VIDIOC_QBUF of buffer"));
}

TEST_F(V4L2SourceTest, AVanishedCameraEndsTheStream) {
    V4L2Source source;
    ASSERT_EQ(Open(source), noErr);
    ASSERT_EQ(source.Start(), noErr);
    mCamera.Fill("frame");
    mCamera.vanished = true;
    FrameCollector collector;
    EXPECT_EQ(source.Grab(collector), sgDeviceLostErr);
    mCamera.vanished = false;
    EXPECT_EQ(source.Grab(collector), sgDeviceLostErr) << "once gone it stays gone";
    EXPECT_EQ(source.Stop(), noErr);
    EXPECT_TRUE(collector.frames.empty());

    // EIO from the queue (uvcvideo after a disconnect) is a vanished camera too.
    V4L2Source other;
    ASSERT_EQ(Open(other), noErr);
    ASSERT_EQ(other.Start(), noErr);
    mCamera.faults[VIDIOC_DQBUF] = {EIO};
    EXPECT_EQ(other.Grab(collector), sgDeviceLostErr);
}

TEST_F(V4L2SourceTest, ABusyCameraFailsTheOpenAndLeavesNothingOpen) {
    std::size_t const files = OpenFileCount();
    mCamera.faults[VIDIOC_S_FMT] = {EBUSY};
    V4L2Source source;
    TestLogCapture log;
    EXPECT_EQ(Open(source), sgDeviceBusyErr);
    EXPECT_EQ(OpenFileCount(), files);
    EXPECT_FALSE(log.Contains("V4L2Source")) << "a busy camera is everyday, not an error";
    EXPECT_EQ(source.Start(), sgNotPreparedErr);
}

TEST_F(V4L2SourceTest, NoBandwidthFallsBackToFewerFramesThenSmallerThenTheOtherFormat) {
    struct Case {
        int refusals;  // STREAMON answers ENOSPC this many times
        int status;
        char const* compromise;
        std::uint32_t code, width, height, framesPerSecond;
    };
    for (Case const& c : {Case{1, noErr, "USB bandwidth: 15 fps", kCodecMJPEG, 640, 480, 15},
                          Case{2, noErr, "USB bandwidth: 320x240", kCodecMJPEG, 320, 240, 30},
                          Case{3, noErr, "USB bandwidth: YUYV", kCodecYUYV, 640, 480, 30},
                          Case{4, sgBandwidthErr, "", kCodecYUYV, 640, 480, 30}}) {
        SCOPED_TRACE(c.refusals);
        V4L2Source source;
        ASSERT_EQ(Open(source), noErr);
        mCamera.faults[VIDIOC_STREAMON] = std::vector<int>(c.refusals, ENOSPC);
        TestLogCapture log;
        EXPECT_EQ(source.Start(), c.status);
        EXPECT_EQ(source.Compromise(), c.compromise);
        EXPECT_EQ(source.Description().cType, c.code);
        EXPECT_EQ(source.Description().width, static_cast<int>(c.width));
        EXPECT_EQ(mCamera.format.height, c.height);
        EXPECT_EQ(mCamera.interval.denominator, c.framesPerSecond);
        EXPECT_EQ(mCamera.streaming, c.status == noErr);
        EXPECT_TRUE(log.Contains("'USB Camera' cannot stream MJPG 640x480 at 30 fps")) << log.Lines();
        if (c.status != noErr) {
            EXPECT_TRUE(mCamera.queued.empty()) << "the queued buffers were taken back";
            EXPECT_EQ(source.Start(), noErr) << "and it can be tried again";
        }
        source.Stop();
    }
}

}  // namespace

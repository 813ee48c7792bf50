#pragma once
// One open V4L2 camera input: the format settled at open, a few memory-mapped buffers, and
// non-blocking dequeueing in Grab, which takes every buffer that is ready, delivers only
// the newest and gives them all back to the driver.

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/capture/CaptureSource.h"
#include "platform/capture/V4L2Formats.h"
#include "platform/capture/LogThrottle.h"
#include "platform/capture/V4L2Resources.h"

class V4L2Source : public CaptureSource {
public:
    static constexpr std::uint32_t kBufferCount = 4;

    V4L2Source() = default;
    ~V4L2Source() override;

    // Opens `path`, selects `input`, chooses the format for width x height, asks for
    // `framesPerSecond` (or the nearest rate offered) and maps the buffers. sgDeviceBusyErr
    // when another program streams from the camera; on any error nothing stays open.
    int Open(std::string const& path, std::string const& cameraName, int input, int width,
             int height, double framesPerSecond = 30.0);

    // For tests: uncompressed formats are asked for with rows of at least this many bytes,
    // as some drivers pad them unasked (0, the default, lets the driver choose).
    static void SetRowBytesAskedForTests(std::uint32_t rowBytes) { sRowBytesAsked = rowBytes; }

    ImageDescription const& Description() const override { return mDescription; }
    int Start() override;
    int Stop() override;
    int Grab(CaptureFrameHandler& handler) override;

    // The frame rate asked for, in frames a second (0 when the driver sets its own).
    double FramesPerSecond() const override { return mFramesPerSecond; }

    // What the camera settled for when the USB bus had no room for what was asked
    // ("USB bandwidth: 15 fps"); empty when it streams as asked.
    std::string Compromise() const override { return mCompromise; }

private:
    int Fail(char const* what, int err);  // logs, maps -errno to a status code
    // Sets format and size, the frame rate (null: the rate asked at open, or nearest) and maps buffers.
    int Configure(V4L2FormatChoice const& choice, v4l2_fract const* interval);
    // Asks for `wanted` (null: the rate asked at open, or the nearest); false when the
    // driver keeps its own rate or refuses.
    bool SetFrameRate(v4l2_fract const* wanted);
    int StreamOn();  // queues every buffer and starts: 0 or -errno
    // After ENOSPC: fewer frames a second, then smaller frames, then the other kind of
    // format, until one streams. 0 or -errno; `compromise` says what was given up.
    int StreamOnWithLessBandwidth(std::string& compromise);
    std::string StreamText() const;  // "MJPG 640x480 at 30 fps"
    int QueueBuffer(std::uint32_t index);
    // Gives a buffer back to the driver; false when the camera has vanished (logged).
    bool Requeue(std::uint32_t index);
    int Vanished(int err);  // marks the camera lost, logs; sgDeviceLostErr

    static inline std::atomic<std::uint32_t> sRowBytesAsked{0};

    std::string mPath;
    std::string mCameraName;
    ScopedFd mFd;
    std::vector<MappedBuffer> mBuffers;
    V4L2StreamGuard mStream;  // declared last: streaming stops before the buffers go
    ImageDescription mDescription;
    std::vector<V4L2FormatAnswers> mFormats;  // as the camera listed them at open
    std::string mCompromise;
    double mFramesPerSecond = 0.0;
    double mWantedFramesPerSecond = 30.0;
    bool mLost = false;
    // A camera that goes bad tends to do so with every frame: each kind of fault is logged
    // once, then counted.
    LogThrottle mDamagedLog;
    LogThrottle mDequeueLog;
    LogThrottle mRequeueLog;
};

#include "platform/capture/V4L2Source.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>

#include <linux/videodev2.h>

#include "CoreX/CoreMachDebugLog.h"
#include "platform/capture/DecompressSequence.h"
#include "platform/capture/V4L2Formats.h"
#include "platform/capture/V4L2Naming.h"

namespace {

bool IsVanished(int err) { return err == -ENODEV || err == -EIO || err == -ENXIO; }

int StatusOf(int err) {
    if (IsVanished(err)) {
        return sgDeviceLostErr;
    }
    switch (err) {
        case -EBUSY:
            return sgDeviceBusyErr;
        case -ENOSPC:
            return sgBandwidthErr;
        case -ENOENT:
            return sgNoDeviceErr;
        default:
            return sgDeviceErr;
    }
}

}  // namespace

V4L2Source::~V4L2Source() { mStream.Stop(); }

int V4L2Source::Fail(char const* what, int err) {
    // A camera that another program or grabber holds is an everyday answer while the default
    // camera is looked for; whoever asked for this camera in particular reports it.
    if (err != -EBUSY) {
        CoreMachDebugLog("V4L2Source: '%s' (%s): %s failed: %s\n", mCameraName.c_str(),
                         mPath.c_str(), what, std::strerror(-err));
    }
    mStream.Stop();
    mBuffers.clear();
    mFd.Reset();
    return StatusOf(err);
}

int V4L2Source::Open(std::string const& path, std::string const& cameraName, int input, int width,
                     int height, double framesPerSecond) {
    mWantedFramesPerSecond = framesPerSecond;
    mPath = path;
    mCameraName = cameraName;
    mLost = false;
    int const opened = ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    int const openErr = errno;
    mFd.Reset(opened);
    if (!mFd.IsOpen()) {
        return Fail("open", -openErr);
    }
    int const fd = mFd.Get();
    v4l2_capability capability{};
    int err = V4L2Ioctl(fd, VIDIOC_QUERYCAP, &capability);
    if (err != 0) {
        return Fail("VIDIOC_QUERYCAP", err);
    }
    if (!V4L2Naming::IsCamera(capability)) {
        return Fail("checking that it is a camera", -ENODEV);
    }
    int inputIndex = input;
    err = V4L2Ioctl(fd, VIDIOC_S_INPUT, &inputIndex);
    if (err != 0 && !(input == 0 && err == -ENOTTY)) {
        return Fail("VIDIOC_S_INPUT", err);
    }

    mFormats = V4L2Formats::Enumerate(fd);
    V4L2FormatChoice choice;
    if (!V4L2Formats::ChooseFormat(mFormats, static_cast<std::uint32_t>(width),
                                   static_cast<std::uint32_t>(height), choice)) {
        CoreMachDebugLog("V4L2Source: '%s' offers no format that can be decoded:\n",
                         cameraName.c_str());
        for (V4L2FormatAnswers const& format : mFormats) {
            CoreMachDebugLog("    %s\n", V4L2Formats::Describe(format).c_str());
        }
        mFd.Reset();
        return sgFormatErr;
    }
    err = Configure(choice, nullptr);
    if (err != noErr) {
        return err;
    }
    CoreMachDebugLog("V4L2Source: '%s' opened: %s %dx%d, %d bytes a row, %.3g fps, %zu buffers\n",
                     cameraName.c_str(), PixelFourCCText(mDescription.cType).c_str(),
                     mDescription.width, mDescription.height, mDescription.bytesPerLine,
                     mFramesPerSecond, mBuffers.size());
    return noErr;
}

int V4L2Source::Configure(V4L2FormatChoice const& choice, v4l2_fract const* interval) {
    int const fd = mFd.Get();
    // A new format needs the buffers of the old one given back first.
    mBuffers.clear();
    v4l2_requestbuffers none{};
    none.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    none.memory = V4L2_MEMORY_MMAP;
    V4L2Ioctl(fd, VIDIOC_REQBUFS, &none);  // refused before the first request: harmless

    v4l2_format format{};
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    format.fmt.pix.pixelformat = choice.pixelFormat;
    format.fmt.pix.width = choice.width;
    format.fmt.pix.height = choice.height;
    format.fmt.pix.field = V4L2_FIELD_ANY;
    format.fmt.pix.bytesperline = sRowBytesAsked;  // drivers ignore it for compressed formats
    // EBUSY here means another program streams from the camera.
    int err = V4L2Ioctl(fd, VIDIOC_S_FMT, &format);
    if (err != 0) {
        return Fail("VIDIOC_S_FMT", err);
    }
    v4l2_pix_format const& pix = format.fmt.pix;  // what the driver settled on
    bool const fUsable = DecompressSequence::CanDecode(pix.pixelformat) && pix.width > 0 &&
                         pix.height > 0 && pix.width <= 32767 && pix.height <= 32767;
    if (!fUsable) {
        CoreMachDebugLog("V4L2Source: '%s' answered %s %ux%u to %s %ux%u\n", mCameraName.c_str(),
                         PixelFourCCText(pix.pixelformat).c_str(), pix.width, pix.height,
                         PixelFourCCText(choice.pixelFormat).c_str(), choice.width, choice.height);
        mFd.Reset();
        return sgFormatErr;
    }
    mDescription.cType = pix.pixelformat;
    mDescription.width = static_cast<std::int16_t>(pix.width);
    mDescription.height = static_cast<std::int16_t>(pix.height);
    // Rows can be padded (bytesperline beyond the pixels); compressed formats report 0.
    mDescription.bytesPerLine = static_cast<std::int32_t>(pix.bytesperline);
    mDescription.dataSize = static_cast<std::int32_t>(pix.sizeimage);
    if (mDescription.bytesPerLine == 0) {
        mDescription.bytesPerLine =
            DecompressSequence::MinimumBytesPerLine(pix.pixelformat, mDescription.width);
    }
    SetFrameRate(interval);

    v4l2_requestbuffers request{};
    request.count = kBufferCount;
    request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    request.memory = V4L2_MEMORY_MMAP;
    err = V4L2Ioctl(fd, VIDIOC_REQBUFS, &request);
    if (err != 0) {
        return Fail("VIDIOC_REQBUFS", err);
    }
    if (request.count < 2) {
        return Fail("VIDIOC_REQBUFS (fewer than two buffers)", -ENOMEM);
    }
    mBuffers.resize(request.count);
    for (std::uint32_t i = 0; i < request.count; ++i) {
        v4l2_buffer buffer{};
        buffer.index = i;
        buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buffer.memory = V4L2_MEMORY_MMAP;
        err = V4L2Ioctl(fd, VIDIOC_QUERYBUF, &buffer);
        if (err != 0) {
            return Fail("VIDIOC_QUERYBUF", err);
        }
        err = mBuffers[i].Map(fd, buffer.length, static_cast<off_t>(buffer.m.offset));
        if (err != 0) {
            return Fail("mmap", err);
        }
    }
    return noErr;
}

bool V4L2Source::SetFrameRate(v4l2_fract const* wanted) {
    int const fd = mFd.Get();
    v4l2_fract interval{1, 30};
    if (wanted != nullptr) {
        interval = *wanted;
    } else {
        std::vector<v4l2_frmivalenum> const intervals = V4L2Formats::EnumerateIntervals(
            fd, mDescription.cType, static_cast<std::uint32_t>(mDescription.width),
            static_cast<std::uint32_t>(mDescription.height));
        // None listed: 1/30 is asked anyway.
        V4L2Formats::ChooseInterval(intervals, interval, mWantedFramesPerSecond);
    }
    mFramesPerSecond = 0.0;
    v4l2_streamparm parm{};
    parm.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (V4L2Ioctl(fd, VIDIOC_G_PARM, &parm) != 0 ||
        (parm.parm.capture.capability & V4L2_CAP_TIMEPERFRAME) == 0) {
        return false;  // the driver keeps its own rate
    }
    // Some drivers start at a few frames a second until they are asked.
    parm.parm.capture.timeperframe = interval;
    int const err = V4L2Ioctl(fd, VIDIOC_S_PARM, &parm);
    if (err != 0) {
        CoreMachDebugLog("V4L2Source: '%s': VIDIOC_S_PARM %u/%u failed: %s\n", mCameraName.c_str(),
                         interval.numerator, interval.denominator, std::strerror(-err));
        return false;
    }
    v4l2_fract const& settled = parm.parm.capture.timeperframe;
    if (settled.numerator != 0) {
        mFramesPerSecond = static_cast<double>(settled.denominator) / settled.numerator;
    }
    return true;
}

int V4L2Source::QueueBuffer(std::uint32_t index) {
    v4l2_buffer buffer{};
    buffer.index = index;
    buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    buffer.memory = V4L2_MEMORY_MMAP;
    return V4L2Ioctl(mFd.Get(), VIDIOC_QBUF, &buffer);
}

int V4L2Source::StreamOn() {
    // STREAMOFF hands every buffer back, so each start queues them all again.
    for (std::uint32_t i = 0; i < mBuffers.size(); ++i) {
        int const err = QueueBuffer(i);
        if (err != 0) {
            return err;
        }
    }
    int const err = mStream.Start(mFd.Get());
    if (err == -ENOSPC) {
        int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        V4L2Ioctl(mFd.Get(), VIDIOC_STREAMOFF, &type);  // takes the queued buffers back
    }
    return err;
}

std::string V4L2Source::StreamText() const {
    char text[64];
    std::snprintf(text, sizeof(text), "%s %dx%d at ", PixelFourCCText(mDescription.cType).c_str(),
                  mDescription.width, mDescription.height);
    std::string result = text;
    if (mFramesPerSecond > 0.0) {
        std::snprintf(text, sizeof(text), "%.3g fps", mFramesPerSecond);
        return result + text;
    }
    return result + "the driver's rate";  // when it was not asked for one
}

int V4L2Source::StreamOnWithLessBandwidth(std::string& compromise) {
    int const fd = mFd.Get();
    auto const attempt = [&](std::string const& what) {
        int const err = StreamOn();
        if (err == 0) {
            compromise = what;
        }
        return err;
    };
    // Slower frame rates of the same format and size, fastest first.
    if (mFramesPerSecond > 0.0) {
        std::vector<v4l2_fract> slower;
        for (v4l2_frmivalenum const& answer : V4L2Formats::EnumerateIntervals(
                 fd, mDescription.cType, static_cast<std::uint32_t>(mDescription.width),
                 static_cast<std::uint32_t>(mDescription.height))) {
            v4l2_fract const& f = answer.discrete;
            if (answer.type == V4L2_FRMIVAL_TYPE_DISCRETE && f.numerator != 0 &&
                double(f.denominator) / f.numerator < mFramesPerSecond - 0.01) {
                slower.push_back(f);
            }
        }
        std::sort(slower.begin(), slower.end(), [](v4l2_fract const& a, v4l2_fract const& b) {
            return double(a.denominator) / a.numerator > double(b.denominator) / b.numerator;
        });
        for (v4l2_fract const& interval : slower) {
            char text[32];
            std::snprintf(text, sizeof(text), "%.3g fps",
                          double(interval.denominator) / interval.numerator);
            if (!SetFrameRate(&interval)) {
                break;
            }
            if (int const err = attempt(text); err != -ENOSPC) {
                return err;
            }
        }
    }
    // Smaller sizes of the same format, largest first.
    OSType const cType = mDescription.cType;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> smaller;
    for (V4L2FormatAnswers const& format : mFormats) {
        if (format.format.pixelformat != cType) {
            continue;
        }
        for (v4l2_frmsizeenum const& size : format.sizes) {
            if (size.type == V4L2_FRMSIZE_TYPE_DISCRETE &&
                size.discrete.width * size.discrete.height <
                    std::uint32_t(mDescription.width) * std::uint32_t(mDescription.height)) {
                smaller.emplace_back(size.discrete.width, size.discrete.height);
            }
        }
    }
    std::sort(smaller.begin(), smaller.end(),
              [](auto const& a, auto const& b) { return a.first * a.second > b.first * b.second; });
    int const width = mDescription.width;
    int const height = mDescription.height;
    for (auto const& [w, h] : smaller) {
        if (int const err = Configure({cType, w, h}, nullptr); err != noErr) {
            return -EIO;
        }
        if (int const err = attempt(std::to_string(w) + "x" + std::to_string(h)); err != -ENOSPC) {
            return err;
        }
    }
    // The other kind of format at the size first chosen: MJPEG for a raw camera, raw for
    // MJPEG (some cameras reserve the bus for the largest JPEG frame they could send).
    std::vector<V4L2FormatAnswers> others;
    bool const fWasJPEG = DecompressSequence::FormatPreference(cType) == 0;
    for (V4L2FormatAnswers const& format : mFormats) {
        bool const fJPEG = DecompressSequence::FormatPreference(format.format.pixelformat) == 0;
        if (fJPEG != fWasJPEG) {
            others.push_back(format);
        }
    }
    V4L2FormatChoice choice;
    if (V4L2Formats::ChooseFormat(others, static_cast<std::uint32_t>(width),
                                  static_cast<std::uint32_t>(height), choice)) {
        if (Configure(choice, nullptr) != noErr) {
            return -EIO;
        }
        return attempt(PixelFourCCText(choice.pixelFormat));
    }
    return -ENOSPC;
}

int V4L2Source::Start() {
    if (!mFd.IsOpen() || mLost) {
        return mLost ? sgDeviceLostErr : sgNotPreparedErr;
    }
    mCompromise.clear();
    std::string const asked = StreamText();
    int err = StreamOn();
    if (err == -ENOSPC) {
        // Another camera on the same USB bus takes the rest: ask for less rather than show
        // nothing.
        std::string compromise;
        err = StreamOnWithLessBandwidth(compromise);
        if (err == 0) {
            mCompromise = "USB bandwidth: " + compromise;
            CoreMachDebugLog(
                "V4L2Source: '%s' cannot stream %s: its USB bus has no bandwidth left; "
                "streaming %s instead\n",
                mCameraName.c_str(), asked.c_str(), StreamText().c_str());
            return noErr;
        }
        if (!mFd.IsOpen()) {
            return sgDeviceErr;  // a new format failed; logged
        }
    }
    if (err == -ENOSPC) {
        CoreMachDebugLog(
            "V4L2Source: '%s' cannot stream %s, nor with fewer frames, smaller or in another "
            "format: its USB bus has no bandwidth left. Another camera on the same bus takes "
            "the rest: plug the cameras into different USB controllers.\n",
            mCameraName.c_str(), asked.c_str());
        return sgBandwidthErr;
    }
    if (err != 0) {
        mLost = IsVanished(err);
        return Fail("VIDIOC_STREAMON", err);
    }
    return noErr;
}

int V4L2Source::Stop() {
    int const err = mStream.Stop();
    // A camera that has gone cannot stop; it is stopped all the same.
    if (err != 0 && !IsVanished(err) && !mLost) {
        CoreMachDebugLog("V4L2Source: '%s': VIDIOC_STREAMOFF failed: %s\n", mCameraName.c_str(),
                         std::strerror(-err));
        return StatusOf(err);
    }
    return noErr;
}

int V4L2Source::Vanished(int err) {
    mLost = true;
    CoreMachDebugLog("V4L2Source: '%s' (%s) has vanished: %s\n", mCameraName.c_str(), mPath.c_str(),
                     std::strerror(-err));
    return sgDeviceLostErr;
}

bool V4L2Source::Requeue(std::uint32_t index) {
    int const err = QueueBuffer(index);
    if (err != 0) {
        if (IsVanished(err)) {
            Vanished(err);
            return false;
        }
        if (std::uint64_t repeats = 0; mRequeueLog.Note(repeats)) {
            CoreMachDebugLog("V4L2Source: '%s': VIDIOC_QBUF of buffer %u failed: %s%s\n",
                             mCameraName.c_str(), index, std::strerror(-err),
                             LogThrottle::RepeatsText(repeats).c_str());
        }
    }
    return true;
}

int V4L2Source::Grab(CaptureFrameHandler& handler) {
    if (mLost) {
        return sgDeviceLostErr;
    }
    if (!mStream.IsStreaming()) {
        return noErr;
    }
    int const fd = mFd.Get();
    v4l2_buffer newest{};
    bool fHaveFrame = false;
    int err = 0;
    for (;;) {
        v4l2_buffer buffer{};
        buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buffer.memory = V4L2_MEMORY_MMAP;
        err = V4L2Ioctl(fd, VIDIOC_DQBUF, &buffer);
        if (err != 0) {
            break;  // EAGAIN: nothing more is ready
        }
        if ((buffer.flags & V4L2_BUF_FLAG_ERROR) != 0 || buffer.index >= mBuffers.size()) {
            // The driver saw the frame arrive damaged: drop it, keep the newest good one.
            if (std::uint64_t repeats = 0; mDamagedLog.Note(repeats)) {
                CoreMachDebugLog("V4L2Source: '%s': frame %u flagged as damaged, dropped%s\n",
                                 mCameraName.c_str(), buffer.sequence,
                                 LogThrottle::RepeatsText(repeats).c_str());
            }
            if (!Requeue(buffer.index)) {
                return sgDeviceLostErr;
            }
            continue;
        }
        // An older frame nobody will look at: straight back to the driver.
        if (fHaveFrame && !Requeue(newest.index)) {
            return sgDeviceLostErr;
        }
        newest = buffer;
        fHaveFrame = true;
    }
    if (err != -EAGAIN) {
        if (IsVanished(err)) {
            return Vanished(err);
        }
        if (std::uint64_t repeats = 0; mDequeueLog.Note(repeats)) {
            CoreMachDebugLog("V4L2Source: '%s': VIDIOC_DQBUF failed: %s%s\n",
                             mCameraName.c_str(), std::strerror(-err),
                             LogThrottle::RepeatsText(repeats).c_str());
        }
    }
    if (!fHaveFrame) {
        return noErr;
    }
    MappedBuffer const& mapped = mBuffers[newest.index];
    std::size_t const size = std::min<std::size_t>(newest.bytesused, mapped.Length());
    std::int64_t const timeUs =
        std::int64_t{newest.timestamp.tv_sec} * 1000000 + newest.timestamp.tv_usec;
    int const result = handler.OnFrame(mapped.Data(), size, timeUs);
    if (!Requeue(newest.index)) {
        return sgDeviceLostErr;
    }
    return result;
}

#pragma once
// Choosing how a V4L2 camera sends its frames, from its answers to VIDIOC_ENUM_FMT,
// VIDIOC_ENUM_FRAMESIZES and VIDIOC_ENUM_FRAMEINTERVALS: MJPEG first, then YUYV, then any
// other format the decompressor converts; the smallest frame that covers the request;
// 30 frames a second where the camera offers it.

#include <cstdint>
#include <string>
#include <vector>

#include <linux/videodev2.h>

// One format with its sizes, as the camera answered.
struct V4L2FormatAnswers {
    v4l2_fmtdesc format{};
    std::vector<v4l2_frmsizeenum> sizes;  // several DISCRETE answers, or one STEPWISE one
};

struct V4L2FormatChoice {
    std::uint32_t pixelFormat = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

namespace V4L2Formats {

// Asks the camera behind `fd` for its capture formats with their sizes.
std::vector<V4L2FormatAnswers> Enumerate(int fd);
// Asks for the frame intervals of one format at one size.
std::vector<v4l2_frmivalenum> EnumerateIntervals(int fd, std::uint32_t pixelFormat,
                                                 std::uint32_t width, std::uint32_t height);

// The format and size to ask for: among formats the decompressor handles, the most preferred
// one that has a size covering width x height, at its smallest such size; when no size
// covers the request, the most preferred format at its largest size. A format that lists no
// sizes is asked for width x height (the driver adjusts it). False when the camera offers
// nothing that can be decoded.
bool ChooseFormat(std::vector<V4L2FormatAnswers> const& formats, std::uint32_t width,
                  std::uint32_t height, V4L2FormatChoice& choice);

// The frame interval to ask for: 1/framesPerSecond when offered (30 unless the other eye's
// camera runs at another rate), else the fastest rate below it, else the slowest above.
// False when the camera listed no intervals.
bool ChooseInterval(std::vector<v4l2_frmivalenum> const& intervals, v4l2_fract& interval,
                    double framesPerSecond = 30.0);

// "MJPG (Motion-JPEG): 1280x720 640x480" for people.
std::string Describe(V4L2FormatAnswers const& format);

}  // namespace V4L2Formats

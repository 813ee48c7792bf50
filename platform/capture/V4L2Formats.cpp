#include "platform/capture/V4L2Formats.h"

#include <cmath>

#include <algorithm>
#include <cstdio>

#include "platform/capture/DecompressSequence.h"
#include "platform/capture/V4L2Resources.h"

namespace V4L2Formats {

std::vector<V4L2FormatAnswers> Enumerate(int fd) {
    std::vector<V4L2FormatAnswers> formats;
    for (std::uint32_t index = 0;; ++index) {
        V4L2FormatAnswers answers;
        answers.format.index = index;
        answers.format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        if (V4L2Ioctl(fd, VIDIOC_ENUM_FMT, &answers.format) != 0) {
            break;  // EINVAL past the last format
        }
        for (std::uint32_t sizeIndex = 0;; ++sizeIndex) {
            v4l2_frmsizeenum size{};
            size.index = sizeIndex;
            size.pixel_format = answers.format.pixelformat;
            if (V4L2Ioctl(fd, VIDIOC_ENUM_FRAMESIZES, &size) != 0) {
                break;
            }
            answers.sizes.push_back(size);
            if (size.type != V4L2_FRMSIZE_TYPE_DISCRETE) {
                break;  // a stepwise range is the only answer
            }
        }
        formats.push_back(std::move(answers));
    }
    return formats;
}

std::vector<v4l2_frmivalenum> EnumerateIntervals(int fd, std::uint32_t pixelFormat,
                                                 std::uint32_t width, std::uint32_t height) {
    std::vector<v4l2_frmivalenum> intervals;
    for (std::uint32_t index = 0;; ++index) {
        v4l2_frmivalenum interval{};
        interval.index = index;
        interval.pixel_format = pixelFormat;
        interval.width = width;
        interval.height = height;
        if (V4L2Ioctl(fd, VIDIOC_ENUM_FRAMEINTERVALS, &interval) != 0) {
            break;
        }
        intervals.push_back(interval);
        if (interval.type != V4L2_FRMIVAL_TYPE_DISCRETE) {
            break;
        }
    }
    return intervals;
}

namespace {

struct SizeCandidate {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint64_t Area() const { return std::uint64_t{width} * height; }
};

// The smallest size of a stepwise range that reaches `wanted` in one dimension.
std::uint32_t StepUp(std::uint32_t wanted, std::uint32_t min, std::uint32_t max,
                     std::uint32_t step) {
    if (wanted <= min) {
        return min;
    }
    step = std::max<std::uint32_t>(step, 1);
    std::uint64_t const stepped = min + (std::uint64_t{wanted} - min + step - 1) / step * step;
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(stepped, max));
}

// The smallest covering size and the largest size of one format's answers.
void SizesOf(V4L2FormatAnswers const& format, std::uint32_t width, std::uint32_t height,
             SizeCandidate& covering, SizeCandidate& largest) {
    auto consider = [&](SizeCandidate size) {
        if (size.width >= width && size.height >= height &&
            (covering.Area() == 0 || size.Area() < covering.Area())) {
            covering = size;
        }
        if (size.Area() > largest.Area()) {
            largest = size;
        }
    };
    if (format.sizes.empty()) {
        // Listing frame sizes is optional: capture cards (bttv, saa7134, cx88) answer
        // VIDIOC_ENUM_FRAMESIZES with ENOTTY and take any size VIDIOC_S_FMT asks for,
        // adjusting it to what they can.
        consider({width, height});
        return;
    }
    for (v4l2_frmsizeenum const& size : format.sizes) {
        if (size.type == V4L2_FRMSIZE_TYPE_DISCRETE) {
            consider({size.discrete.width, size.discrete.height});
        } else {
            v4l2_frmsize_stepwise const& range = size.stepwise;
            consider({StepUp(width, range.min_width, range.max_width, range.step_width),
                      StepUp(height, range.min_height, range.max_height, range.step_height)});
            consider({range.max_width, range.max_height});
        }
    }
}

double Seconds(v4l2_fract const& interval) {
    return interval.denominator == 0
               ? 0.0
               : static_cast<double>(interval.numerator) / interval.denominator;
}

}  // namespace

bool ChooseFormat(std::vector<V4L2FormatAnswers> const& formats, std::uint32_t width,
                  std::uint32_t height, V4L2FormatChoice& choice) {
    int bestCoveringRank = 99;
    int bestLargestRank = 99;
    V4L2FormatChoice covering;
    V4L2FormatChoice largest;
    for (V4L2FormatAnswers const& format : formats) {
        std::uint32_t const code = format.format.pixelformat;
        if (!DecompressSequence::CanDecode(code)) {
            continue;
        }
        int const rank = DecompressSequence::FormatPreference(code);
        SizeCandidate coveringSize;
        SizeCandidate largestSize;
        SizesOf(format, width, height, coveringSize, largestSize);
        // Ties keep the camera's own order.
        if (coveringSize.Area() != 0 && rank < bestCoveringRank) {
            bestCoveringRank = rank;
            covering = {code, coveringSize.width, coveringSize.height};
        }
        if (largestSize.Area() != 0 && rank < bestLargestRank) {
            bestLargestRank = rank;
            largest = {code, largestSize.width, largestSize.height};
        }
    }
    if (bestCoveringRank != 99) {
        choice = covering;
        return true;
    }
    if (bestLargestRank != 99) {
        choice = largest;
        return true;
    }
    return false;
}

bool ChooseInterval(std::vector<v4l2_frmivalenum> const& intervals, v4l2_fract& interval,
                    double framesPerSecond) {
    if (!(framesPerSecond > 0.0)) {
        framesPerSecond = 30.0;
    }
    double const kWanted = 1.0 / framesPerSecond;
    constexpr double kSlack = 1e-6;
    if (intervals.empty()) {
        return false;
    }
    if (intervals.front().type != V4L2_FRMIVAL_TYPE_DISCRETE) {
        v4l2_frmival_stepwise const& range = intervals.front().stepwise;
        if (Seconds(range.min) > kWanted + kSlack) {
            interval = range.min;  // slower than 30 a second at best: its fastest
        } else if (Seconds(range.max) < kWanted - kSlack) {
            interval = range.max;  // faster than 30 a second at least: its slowest
        } else {
            // The wanted rate, in whole thousandths of a second where it is not whole.
            double const whole = std::round(framesPerSecond);
            interval = std::abs(whole - framesPerSecond) < 1e-6
                           ? v4l2_fract{1, static_cast<std::uint32_t>(whole)}
                           : v4l2_fract{1000, static_cast<std::uint32_t>(
                                                  std::lround(framesPerSecond * 1000.0))};
        }
        return true;
    }
    v4l2_fract const* atOrBelow = nullptr;  // longest interval no shorter than 1/30 s
    v4l2_fract const* above = nullptr;      // otherwise the longest shorter one
    for (v4l2_frmivalenum const& answer : intervals) {
        v4l2_fract const& candidate = answer.discrete;
        double const seconds = Seconds(candidate);
        if (seconds <= 0.0) {
            continue;
        }
        if (seconds >= kWanted - kSlack) {
            if (atOrBelow == nullptr || seconds < Seconds(*atOrBelow)) {
                atOrBelow = &candidate;
            }
        } else if (above == nullptr || seconds > Seconds(*above)) {
            above = &candidate;
        }
    }
    v4l2_fract const* chosen = atOrBelow != nullptr ? atOrBelow : above;
    if (chosen == nullptr) {
        return false;
    }
    interval = *chosen;
    return true;
}

std::string Describe(V4L2FormatAnswers const& format) {
    std::string text = PixelFourCCText(format.format.pixelformat) + " (" +
                       reinterpret_cast<char const*>(format.format.description) + "):";
    if (!DecompressSequence::CanDecode(format.format.pixelformat)) {
        text += " [not decoded]";
    }
    char size[96];
    for (v4l2_frmsizeenum const& answer : format.sizes) {
        if (answer.type == V4L2_FRMSIZE_TYPE_DISCRETE) {
            std::snprintf(size, sizeof(size), " %ux%u", answer.discrete.width,
                          answer.discrete.height);
        } else {
            v4l2_frmsize_stepwise const& range = answer.stepwise;
            std::snprintf(size, sizeof(size), " %ux%u to %ux%u (steps %ux%u)", range.min_width,
                          range.min_height, range.max_width, range.max_height, range.step_width,
                          range.step_height);
        }
        text += size;
    }
    return text;
}

}  // namespace V4L2Formats

// The V4L2 back end on answers recorded from real devices (a pair of USB webcams, vivid,
// v4l2loopback): which nodes are cameras, what they are called, and which format, size and
// rate are asked for. The node scan on a folder that holds no working device. And streaming
// from a USB webcam replayed through the ioctl seam: the answers a real uvcvideo camera
// gives, its buffer queue kept as the driver keeps it, and its buffers in a file that
// V4L2Source maps as it maps the driver's memory; how frames are taken from the queue and
// given back, and the faults real cameras have.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <map>
#include <tuple>

#include <gtest/gtest.h>

#include <QByteArray>
#include <QString>

#include "platform/capture/CaptureRegistry.h"
#include "platform/capture/V4L2BackEnd.h"
#include "platform/capture/V4L2Formats.h"
#include "platform/capture/V4L2Naming.h"
#include "platform/capture/V4L2Resources.h"
#include "platform/capture/V4L2Source.h"
#include "tests/support/TestEnvironment.h"
#include "tests/support/TestLogCapture.h"

namespace {

// ---- Recorded answers ----

V4L2FormatAnswers Format(OSType code,
                         std::vector<std::pair<std::uint32_t, std::uint32_t>> sizes = {}) {
    V4L2FormatAnswers answers;
    answers.format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    answers.format.pixelformat = code;
    for (std::uint32_t i = 0; i < sizes.size(); ++i) {
        v4l2_frmsizeenum size{};
        size.index = i;
        size.type = V4L2_FRMSIZE_TYPE_DISCRETE;
        size.discrete = {sizes[i].first, sizes[i].second};
        answers.sizes.push_back(size);
    }
    return answers;
}

V4L2FormatAnswers Stepwise(OSType code, std::uint32_t minW, std::uint32_t minH, std::uint32_t maxW,
                           std::uint32_t maxH, std::uint32_t step) {
    V4L2FormatAnswers answers = Format(code);
    v4l2_frmsizeenum size{};
    size.type = V4L2_FRMSIZE_TYPE_STEPWISE;
    size.stepwise = {minW, maxW, step, minH, maxH, step};
    answers.sizes.push_back(size);
    return answers;
}

constexpr OSType kH264 = PixelFourCC('H', '2', '6', '4');

// A 1080p USB webcam (uvcvideo): YUYV, H.264 and MJPEG, in the order it lists them.
std::vector<V4L2FormatAnswers> UVCWebcam() {
    return {Format(kCodecYUYV,
                   {{640, 480}, {160, 90}, {320, 240}, {800, 600}, {1280, 720}, {1920, 1080}}),
            Format(kH264, {{640, 480}, {1280, 720}, {1920, 1080}}),
            Format(kCodecMJPEG, {{1920, 1080}, {1280, 720}, {864, 480}, {640, 480}, {320, 240}})};
}

TEST(V4L2Formats, ThePreferredFormatAtTheSmallestSizeThatCoversTheRequest) {
    // MJPEG only up to 320 x 240, YUYV up to 640 x 480.
    std::vector<V4L2FormatAnswers> const small = {Format(kCodecMJPEG, {{320, 240}, {160, 120}}),
                                                  Format(kCodecYUYV, {{640, 480}, {320, 240}}),
                                                  Format(kCodecNV12, {{640, 480}})};
    // vivid's webcam: raw formats only, YUYV listed after others.
    std::vector<V4L2FormatAnswers> const vivid = {
        Format(kCodecNV12, {{320, 180}, {640, 480}, {1280, 720}}),
        Format(kCodecYUYV, {{320, 180}, {640, 360}, {640, 480}, {1280, 720}}),
        Format(kCodecUYVY, {{640, 480}})};
    // bttv with several inputs: VIDIOC_ENUM_FRAMESIZES is ENOTTY for every format.
    std::vector<V4L2FormatAnswers> const bttv = {Format(kCodecGrey), Format(kCodecBGR24),
                                                 Format(kCodecYUYV), Format(kCodecUYVY)};
    std::vector<V4L2FormatAnswers> const undecodable = {
        Format(kH264, {{640, 480}}), Format(PixelFourCC('Y', '1', '6', ' '), {{640, 480}})};
    struct Case {
        char const* what;
        std::vector<V4L2FormatAnswers> formats;
        std::uint32_t width, height;  // asked
        OSType code;                  // 0: none is chosen
        std::uint32_t chosenWidth, chosenHeight;
    };
    for (Case const& c : std::vector<Case>{
             {"MJPEG at the request", UVCWebcam(), 640, 480, kCodecMJPEG, 640, 480},
             {"864x480 is not tall enough", UVCWebcam(), 700, 500, kCodecMJPEG, 1280, 720},
             {"a format that covers wins", small, 640, 480, kCodecYUYV, 640, 480},
             {"none covers: preferred, largest", small, 1280, 960, kCodecMJPEG, 320, 240},
             {"vivid", vivid, 640, 480, kCodecYUYV, 640, 480},
             {"no sizes: the request", bttv, 640, 480, kCodecYUYV, 640, 480},
             {"stepwise", {Stepwise(kCodecYUYV, 16, 16, 1920, 1080, 4)}, 641, 479, kCodecYUYV,
              644, 480},  // 16 + 157 steps of 4
             {"nothing decodable", undecodable, 640, 480, 0, 0, 0}}) {
        SCOPED_TRACE(c.what);
        V4L2FormatChoice choice;
        ASSERT_EQ(V4L2Formats::ChooseFormat(c.formats, c.width, c.height, choice), c.code != 0);
        EXPECT_EQ(std::make_tuple(choice.pixelFormat, choice.width, choice.height),
                  std::make_tuple(c.code, c.chosenWidth, c.chosenHeight));
    }
}

std::vector<v4l2_frmivalenum> Intervals(std::vector<v4l2_fract> fractions) {
    std::vector<v4l2_frmivalenum> intervals;
    for (v4l2_fract const& fraction : fractions) {
        v4l2_frmivalenum interval{};
        interval.type = V4L2_FRMIVAL_TYPE_DISCRETE;
        interval.discrete = fraction;
        intervals.push_back(interval);
    }
    return intervals;
}

v4l2_frmivalenum StepwiseInterval(v4l2_fract min, v4l2_fract max) {
    v4l2_frmivalenum interval{};
    interval.type = V4L2_FRMIVAL_TYPE_CONTINUOUS;
    interval.stepwise = {min, max, {1, 1}};
    return interval;
}

TEST(V4L2Formats, ThirtyFramesASecondWhereOffered) {
    struct Case {
        std::vector<v4l2_frmivalenum> offered;
        double framesPerSecond;  // asked; 0: the default of 30
        v4l2_fract chosen;
    };
    for (Case const& c : std::vector<Case>{
             {Intervals({{1, 5}, {1, 15}, {2, 60}, {1, 60}}), 0, {2, 60}},
             {Intervals({{1, 120}, {1, 60}}), 0, {1, 60}},  // only faster: the slowest
             {{StepwiseInterval({1, 60}, {1, 1})}, 0, {1, 30}},
             // The other eye's camera runs at 25: this one is asked for 25. (Where it is
             // offered, the streaming test below asks for the other eye's 15.)
             {{StepwiseInterval({1, 60}, {1, 1})}, 25.0, {1, 25}},
             {{StepwiseInterval({1, 15}, {1, 1})}, 0, {1, 15}}}) {
        v4l2_fract chosen{};
        ASSERT_TRUE(V4L2Formats::ChooseInterval(c.offered, chosen, c.framesPerSecond));
        EXPECT_EQ(std::make_tuple(chosen.numerator, chosen.denominator),
                  std::make_tuple(c.chosen.numerator, c.chosen.denominator));
    }
    v4l2_fract chosen{};
    EXPECT_FALSE(V4L2Formats::ChooseInterval({}, chosen));
}

// ---- Naming ----

V4L2NodeAnswers Node(int number, char const* driver, char const* card, char const* bus,
                     std::uint32_t deviceCaps, std::vector<char const*> inputs = {"Camera 1"}) {
    V4L2NodeAnswers node;
    node.number = number;
    node.path = "/dev/video" + std::to_string(number);
    std::strncpy(reinterpret_cast<char*>(node.capability.driver), driver, 15);
    std::strncpy(reinterpret_cast<char*>(node.capability.card), card, 31);
    std::strncpy(reinterpret_cast<char*>(node.capability.bus_info), bus, 31);
    node.capability.capabilities = deviceCaps | V4L2_CAP_DEVICE_CAPS;
    node.capability.device_caps = deviceCaps;
    for (std::uint32_t i = 0; i < inputs.size(); ++i) {
        v4l2_input input{};
        input.index = i;
        std::strncpy(reinterpret_cast<char*>(input.name), inputs[i], 31);
        node.inputs.push_back(input);
    }
    return node;
}

constexpr std::uint32_t kCapture = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
constexpr std::uint32_t kMetadata = V4L2_CAP_META_CAPTURE | V4L2_CAP_STREAMING;

std::vector<std::string> Names(std::vector<CaptureDevice> const& devices) {
    std::vector<std::string> names;
    for (CaptureDevice const& device : devices) {
        names.push_back(device.name);
    }
    return names;
}

TEST(V4L2Naming, IdenticalWebcamsAreToldApartByPort) {
    // Two cameras of one model, each with its metadata node, plus a laptop's own camera and
    // a loopback node labelled "Duoscope" that a writer has made a capture node.
    std::vector<V4L2NodeAnswers> const nodes = {
        Node(0, "uvcvideo", "HD Pro Webcam C920", "usb-0000:00:14.0-1.2", kCapture),
        Node(1, "uvcvideo", "HD Pro Webcam C920", "usb-0000:00:14.0-1.2", kMetadata),
        Node(2, "uvcvideo", "HD Pro Webcam C920", "usb-0000:00:14.0-2", kCapture),
        Node(3, "uvcvideo", "HD Pro Webcam C920", "usb-0000:00:14.0-2", kMetadata),
        Node(4, "uvcvideo", "Integrated Camera", "usb-0000:00:14.0-8", kCapture),
        Node(10, "v4l2 loopback", "Duoscope", "platform:v4l2loopback-000", kCapture)};
    std::vector<CaptureDevice> const devices = V4L2Naming::NameCameras(nodes, nullptr);
    EXPECT_EQ(Names(devices),
              (std::vector<std::string>{"HD Pro Webcam C920 [1.2]", "HD Pro Webcam C920 [2]",
                                        "Integrated Camera"}));
    ASSERT_EQ(devices.size(), 3u);
    EXPECT_EQ(devices[1].path, "/dev/video2");
    EXPECT_EQ(devices[1].inputs, std::vector<std::string>{devices[1].name}) << "its one input";

    // A twin's name does not change when the other is unplugged, nor when the other has not
    // been seen yet this run but a stored choice named one of them by port.
    V4L2Naming::TwinModels seen;
    V4L2Naming::NameCameras(nodes, nullptr, &seen);
    V4L2Naming::TwinModels stored;
    V4L2Naming::RememberName("HD Pro Webcam C920 [1.2]", stored);
    V4L2Naming::RememberName("Integrated Camera", stored);
    std::vector<V4L2NodeAnswers> const alone = {nodes[2], nodes[4]};
    for (V4L2Naming::TwinModels* twins : {&seen, &stored}) {
        EXPECT_EQ(Names(V4L2Naming::NameCameras(alone, nullptr, twins)),
                  (std::vector<std::string>{"HD Pro Webcam C920 [2]", "Integrated Camera"}));
    }
    // Twins on another bus (the kernel's vivid) keep their address as well.
    std::vector<V4L2NodeAnswers> const vivid = {
        Node(0, "vivid", "vivid", "platform:vivid-000", kCapture),
        Node(1, "vivid", "vivid", "platform:vivid-001", kCapture)};
    V4L2Naming::NameCameras(vivid, nullptr, &seen);
    EXPECT_EQ(Names(V4L2Naming::NameCameras({vivid[1]}, nullptr, &seen)),
              std::vector<std::string>{"vivid [platform:vivid-001]"});
    // Stored names are also matched without their port.
    for (auto const& [name, model] : std::vector<std::pair<std::string, std::string>>{
             {"HD Pro Webcam C920 [2]", "HD Pro Webcam C920"},
             {"Capture [1.3] - S-Video", "Capture - S-Video"},
             {"Odd [name", "Odd [name"}}) {
        EXPECT_EQ(V4L2Naming::WithoutPort(name), model);
    }
    // The port is the end of a USB bus_info (the names above show it); none is left whole.
    EXPECT_EQ(V4L2Naming::PortOf("usb-"), "usb-");
}

TEST(V4L2Naming, LaptopCamerasComeAfterPluggedInOnesAndInfraredNeverByDefault) {
    std::vector<V4L2NodeAnswers> nodes = {
        Node(0, "uvcvideo", "Integrated Camera", "usb-0000:00:14.0-8", kCapture),
        Node(2, "uvcvideo", "Integrated IR Camera", "usb-0000:00:14.0-8", kCapture),
        Node(4, "ipu6", "Intel IPU6 ISYS Capture 0", "PCI:0000:00:05.0", kCapture | V4L2_CAP_IO_MC),
        Node(5, "uvcvideo", "HD Pro Webcam C920", "usb-0000:00:14.0-1", kCapture),
        Node(6, "vivid", "vivid", "platform:vivid-000", kCapture | V4L2_CAP_IO_MC)};
    nodes[0].fBuiltIn = true;
    nodes[1].pixelFormats = {kCodecGrey};
    nodes[2].pixelFormats = {V4L2_PIX_FMT_SGRBG10};
    nodes[4].pixelFormats = {kCodecYUYV};
    std::vector<CaptureDevice> const devices = V4L2Naming::NameCameras(nodes, nullptr);
    std::vector<std::string> defaults;
    for (CaptureDevice const* device : CaptureRegistry::DefaultOrder(devices)) {
        defaults.push_back(device->name);
    }
    EXPECT_EQ(defaults, (std::vector<std::string>{"HD Pro Webcam C920", "Integrated Camera",
                                                  "vivid"}));
    EXPECT_EQ(devices.size(), 4u) << "the raw media-controller node is no camera";
}

TEST(V4L2Naming, MoreDetailOnlyWhereNamesStillClash) {
    // The same port path on two USB controllers: the whole bus_info tells them apart.
    std::vector<V4L2NodeAnswers> const controllers = {
        Node(0, "uvcvideo", "USB Camera", "usb-0000:00:14.0-1", kCapture),
        Node(2, "uvcvideo", "USB Camera", "usb-0000:03:00.0-1", kCapture)};
    EXPECT_EQ(Names(V4L2Naming::NameCameras(controllers, nullptr)),
              (std::vector<std::string>{"USB Camera [usb-0000:00:14.0-1]",
                                        "USB Camera [usb-0000:03:00.0-1]"}));

    // Two capture nodes of one device: their node numbers.
    std::vector<V4L2NodeAnswers> const twoNodes = {
        Node(0, "uvcvideo", "Depth Camera", "usb-0000:00:14.0-3", kCapture),
        Node(2, "uvcvideo", "Depth Camera", "usb-0000:00:14.0-3", kCapture)};
    EXPECT_EQ(Names(V4L2Naming::NameCameras(twoNodes, nullptr)),
              (std::vector<std::string>{"Depth Camera [usb-0000:00:14.0-3] (video0)",
                                        "Depth Camera [usb-0000:00:14.0-3] (video2)"}));
}

bool IsWholeUTF8(std::string const& text) {
    QByteArray const bytes(text.data(), static_cast<int>(text.size()));
    return QString::fromUtf8(bytes).toUtf8() == bytes;
}

TEST(V4L2Naming, LongNamesKeepTheirPortAndAreCutBetweenCharactersNeverInsideOne) {
    // The kernel keeps 32 bytes of a card name, which can end inside a character ("é" is
    // two bytes); a long name cut to fit can too. The card gives way, the port and input stay.
    char const card[] = "Caméra Logitech intégrée ééééé";  // 38 bytes: 31 are kept
    std::vector<V4L2NodeAnswers> const nodes = {
        Node(0, "uvcvideo", card, "usb-0000:00:14.0-1", kCapture,
             {"Entrée très très très longue"}),
        Node(2, "uvcvideo", card, "usb-0000:00:14.0-2", kCapture,
             {"Entrée très très très longue", "Deuxième entrée très longue"})};
    std::vector<CaptureDevice> const devices = V4L2Naming::NameCameras(nodes, nullptr);
    ASSERT_EQ(devices.size(), 2u);
    for (CaptureDevice const& device : devices) {
        EXPECT_TRUE(IsWholeUTF8(device.name)) << device.name;
        for (std::string const& input : device.inputs) {
            EXPECT_LE(input.size(), 63u);
            EXPECT_TRUE(IsWholeUTF8(input)) << input;
        }
    }
    EXPECT_NE(devices[1].inputs[0], devices[1].inputs[1]);
    EXPECT_NE(devices[1].inputs[1].find("[2] - Deuxième entrée très longue"), std::string::npos)
        << devices[1].inputs[1];
}

// ---- The node scan ----

TEST(V4L2BackEnd, NodesAreScannedByNumberAndNonDevicesSkipped) {
    std::string const folder = TestEnvironment::Home() + "/dev";
    std::filesystem::create_directories(folder);
    std::filesystem::create_symlink("/dev/null", folder + "/video0");  // answers no ioctl
    TestEnvironment::WriteFile(folder + "/video10", "");
    std::filesystem::create_symlink(folder + "/missing", folder + "/video2");
    TestEnvironment::WriteFile(folder + "/videoX", "");
    TestEnvironment::WriteFile(folder + "/video", "");
    TestEnvironment::WriteFile(folder + "/media0", "");

    std::vector<V4L2NodeAnswers> const nodes = V4L2BackEnd::FindNodes(folder);
    ASSERT_EQ(nodes.size(), 3u);
    EXPECT_EQ(nodes[0].number, 0);
    EXPECT_EQ(nodes[1].number, 2);  // by number, not by name
    EXPECT_EQ(nodes[2].number, 10);

    V4L2BackEnd backEnd;
    backEnd.SetDeviceFolder(folder);
    std::vector<CaptureDevice> devices;
    backEnd.ListDevices(devices);
    EXPECT_TRUE(devices.empty());

    // Opening something that is not a camera fails cleanly and leaves nothing open.
    CaptureDevice notACamera{"null", {"null"}, folder + "/video0", &backEnd};
    std::unique_ptr<CaptureSource> source;
    EXPECT_EQ(backEnd.OpenInput(notACamera, 0, 640, 480, source), sgDeviceErr);
    EXPECT_EQ(source, nullptr);
    CaptureDevice gone{"gone", {"gone"}, folder + "/video2", &backEnd};
    EXPECT_EQ(backEnd.OpenInput(gone, 0, 640, 480, source), sgNoDeviceErr);
    EXPECT_EQ(backEnd.OpenInput(gone, 3, 640, 480, source), paramErr);
}

// ---- Streaming from a replayed webcam ----

class ReplayCamera {
public:
    static constexpr std::uint32_t kBufferLength = 65536;
    static constexpr std::uint32_t kBufferCount = 4;

    // Answers every V4L2 ioctl while it lives.
    ReplayCamera() : path(TestEnvironment::Home() + "/video0") {
        TestEnvironment::WriteFile(path, std::string(kBufferCount * kBufferLength, '\0'));
        sActive = this;
        SetV4L2IoctlFunction(
            [](int, unsigned long request, void* arg) { return sActive->Answer(request, arg); });
    }
    ~ReplayCamera() { SetV4L2IoctlFunction(nullptr); }

    std::string path;
    // What it answers.
    std::vector<V4L2FormatAnswers> formats = {
        Format(kCodecYUYV, {{640, 480}, {1280, 720}}),
        Format(kCodecMJPEG, {{1280, 720}, {640, 480}, {320, 240}})};
    std::vector<v4l2_frmivalenum> intervals = Intervals({{1, 60}, {1, 30}, {1, 15}});
    std::uint32_t paddedBytesPerLine = 0;              // for raw formats; 0: no padding
    std::map<unsigned long, std::vector<int>> faults;  // errno answers, one per call, in order
    // What it was asked.
    v4l2_pix_format format{};
    v4l2_fract interval{};
    int capabilityQueries = 0;
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
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(buffer.index * kBufferLength).write(content.data(), std::ssize(content));
        ASSERT_TRUE(file.flush());
        done.push_back(buffer);
    }
    bool IsQueued(std::uint32_t index) const {
        return std::find(queued.begin(), queued.end(), index) != queued.end();
    }

    int Answer(unsigned long request, void* arg) {
        if (auto fault = faults.find(request); fault != faults.end() && !fault->second.empty()) {
            int const err = fault->second.front();
            fault->second.erase(fault->second.begin());
            return Error(err);
        }
        switch (request) {
            case VIDIOC_QUERYCAP:
                ++capabilityQueries;
                *static_cast<v4l2_capability*>(arg) =
                    Node(0, "uvcvideo", "USB Camera", "usb-0000:00:14.0-1", kCapture).capability;
                return 0;
            case VIDIOC_ENUM_FMT: {
                auto& description = *static_cast<v4l2_fmtdesc*>(arg);
                if (description.index >= formats.size()) {
                    return Error(EINVAL);
                }
                description = formats[description.index].format;
                return 0;
            }
            case VIDIOC_ENUM_FRAMESIZES: {
                auto& size = *static_cast<v4l2_frmsizeenum*>(arg);
                for (V4L2FormatAnswers const& f : formats) {
                    if (f.format.pixelformat == size.pixel_format) {
                        return Listed(f.sizes, size);
                    }
                }
                return Error(EINVAL);
            }
            case VIDIOC_ENUM_FRAMEINTERVALS:
                return Listed(intervals, *static_cast<v4l2_frmivalenum*>(arg));
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
                v4l2_captureparm& capture = static_cast<v4l2_streamparm*>(arg)->parm.capture;
                capture.capability = V4L2_CAP_TIMEPERFRAME;
                capture.timeperframe = {1, 15};
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
                if (!streaming || done.empty()) {
                    return Error(streaming ? EAGAIN : EINVAL);
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
    // The entry of a listing ioctl's table that it asks for by index.
    template <typename Entry>
    static int Listed(std::vector<Entry> const& table, Entry& answer) {
        if (answer.index >= table.size()) {
            return Error(EINVAL);
        }
        answer = table[answer.index];
        return 0;
    }

    static inline ReplayCamera* sActive = nullptr;
    std::uint32_t mSequence = 0;
};

// Keeps what a source delivers.
class FrameCollector : public CaptureFrameHandler {
public:
    int OnFrame(std::uint8_t const* data, std::size_t size, std::int64_t timeUs) override {
        frames.emplace_back(reinterpret_cast<char const*>(data), size);
        return noErr;
    }
    std::vector<std::string> frames;
};

class ReplayedWebcam : public ::testing::Test {
protected:
    int Open(V4L2Source& source) { return source.Open(mCamera.path, "USB Camera", 0, 640, 480); }

    ReplayCamera mCamera;
};

TEST_F(ReplayedWebcam, TheListIsScannedAgainOnlyWhenANodeComesOrGoes) {
    std::string const folder = TestEnvironment::Home() + "/watched";
    std::filesystem::create_directories(folder);
    TestEnvironment::WriteFile(folder + "/video0", "");
    V4L2BackEnd backEnd;
    backEnd.SetDeviceFolder(folder);
    auto const paths = [&backEnd] {
        std::vector<CaptureDevice> devices;
        backEnd.ListDevices(devices);
        std::vector<std::string> result;
        for (CaptureDevice const& device : devices) {
            result.push_back(device.path.substr(device.path.rfind('/') + 1));
        }
        return result;
    };
    EXPECT_EQ(paths(), std::vector<std::string>{"video0"});
    EXPECT_EQ(paths(), std::vector<std::string>{"video0"});
    EXPECT_EQ(mCamera.capabilityQueries, 1) << "looking again opened the nodes again";
    std::uint64_t const generation = backEnd.Generation();

    TestEnvironment::WriteFile(folder + "/video3", "");  // plugged in
    TestEnvironment::WriteFile(folder + "/media0", "");  // not a video node: no scan
    EXPECT_EQ(paths(), (std::vector<std::string>{"video0", "video3"}));
    std::filesystem::remove(folder + "/video0");  // unplugged
    EXPECT_EQ(paths(), std::vector<std::string>{"video3"});
    EXPECT_EQ(backEnd.Generation(), generation + 2);
}

// (MJPEG at 640 x 480 and 30 a second is what the no-bandwidth table starts from.)
TEST_F(ReplayedWebcam, AsksForTheOtherEyesRateAndKeepsTheDriversRowLength) {
    // Beside a camera that runs at 15, it is asked for 15 too.
    V4L2Source inStep;
    ASSERT_EQ(inStep.Open(mCamera.path, "USB Camera", 0, 640, 480, 15.0), noErr);
    EXPECT_EQ(mCamera.interval.denominator, 15u);
    EXPECT_EQ(inStep.FramesPerSecond(), 15.0);

    // A raw camera with padded rows: the driver's row length is kept.
    mCamera.formats = {Format(kCodecYUYV, {{640, 480}})};
    mCamera.paddedBytesPerLine = 1536;
    V4L2Source raw;
    ASSERT_EQ(Open(raw), noErr);
    EXPECT_EQ(raw.Description().cType, kCodecYUYV);
    EXPECT_EQ(raw.Description().bytesPerLine, 1536);
}

TEST_F(ReplayedWebcam, GrabDeliversTheNewestReadyFrameAndRequeuesEveryBuffer) {
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

TEST_F(ReplayedWebcam, ADamagedFrameCostsOnlyItself) {
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

TEST_F(ReplayedWebcam, AVanishedCameraEndsTheStream) {
    // ENODEV once unplugged; EIO from uvcvideo after a disconnect.
    for (int const err : {ENODEV, EIO}) {
        V4L2Source source;
        ASSERT_EQ(Open(source), noErr);
        ASSERT_EQ(source.Start(), noErr);
        mCamera.Fill("frame");
        mCamera.faults[VIDIOC_DQBUF] = {err};
        FrameCollector collector;
        EXPECT_EQ(source.Grab(collector), sgDeviceLostErr) << err;
        EXPECT_EQ(source.Grab(collector), sgDeviceLostErr) << "once gone it stays gone";
        EXPECT_EQ(source.Stop(), noErr);
        EXPECT_TRUE(collector.frames.empty());
    }
}

TEST_F(ReplayedWebcam, ABusyCameraFailsTheOpenAndLeavesNothingOpen) {
    auto const openFiles = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    auto const files = openFiles();
    mCamera.faults[VIDIOC_S_FMT] = {EBUSY};
    V4L2Source source;
    TestLogCapture log;
    EXPECT_EQ(Open(source), sgDeviceBusyErr);
    EXPECT_EQ(openFiles(), files);
    EXPECT_FALSE(log.Contains("V4L2Source")) << "a busy camera is everyday, not an error";
    EXPECT_EQ(source.Start(), sgNotPreparedErr);
}

TEST_F(ReplayedWebcam, NoBandwidthFallsBackToFewerFramesThenSmallerThenTheOtherFormat) {
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
        ImageDescription const& taken = source.Description();
        EXPECT_EQ(std::make_tuple(taken.cType, std::uint32_t(taken.width), mCamera.format.height,
                                  mCamera.interval.denominator, mCamera.streaming),
                  std::make_tuple(c.code, c.width, c.height, c.framesPerSecond, c.status == noErr));
        EXPECT_TRUE(log.Contains("'USB Camera' cannot stream MJPG 640x480 at 30 fps")) << log.Lines();
        if (c.status != noErr) {
            EXPECT_TRUE(mCamera.queued.empty()) << "the queued buffers were taken back";
            EXPECT_EQ(source.Start(), noErr) << "and it can be tried again";
        }
        source.Stop();
    }
}

}  // namespace

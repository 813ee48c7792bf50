#pragma once
// Which V4L2 nodes are cameras, and what they are called. A stereo rig is usually two
// cameras of one model, so names must tell identical cameras apart: a camera is its card
// name, with its USB port (or other bus address) in brackets where a device of the same
// name is or was present (stable while it stays in the same port), and its input's name
// where the device has several inputs.

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include <linux/videodev2.h>

#include "platform/capture/CaptureBackEnd.h"

// One node's answers to VIDIOC_QUERYCAP and VIDIOC_ENUMINPUT.
struct V4L2NodeAnswers {
    std::string path;  // "/dev/video0"
    int number = 0;    // the N of /dev/videoN
    v4l2_capability capability{};
    std::vector<v4l2_input> inputs;
    std::vector<std::uint32_t> pixelFormats;  // VIDIOC_ENUM_FMT's answers
    bool fBuiltIn = false;                    // its USB port is marked fixed (a laptop's own)
};

namespace V4L2Naming {

// Nodes that capture video and stream: metadata and output nodes are not cameras, and
// neither is a v4l2loopback node, so a virtual camera never feeds itself.
bool IsCamera(v4l2_capability const& capability);
// For tests that feed a loopback node as a camera of known pictures (an MJPEG camera, which
// the kernel's test driver lacks): loopback nodes that capture count as cameras from now on.
// The program never turns this on.
void SetLoopbackNodesAreCameras(bool fCameras);
// The same, knowing the node's formats: a node that needs a media-controller pipeline set
// up first (V4L2_CAP_IO_MC) and offers no format that can be decoded cannot stream alone.
bool IsCamera(V4L2NodeAnswers const& node);
// Every format a greyscale one: the infrared camera beside a laptop's webcam.
bool IsInfraredOnly(std::vector<std::uint32_t> const& pixelFormats);

// The port part of a bus_info: "usb-0000:00:14.0-1.2" gives "1.2"; anything that is not USB
// is kept whole.
std::string PortOf(std::string const& busInfo);

// Models known to come in pairs: a USB camera of such a model is named with its port
// whether or not its twin is plugged in now, so its name never depends on the other. Holds
// card names, or the start of one where a long name was cut to make room for the port.
using TwinModels = std::set<std::string>;

// The cameras among `nodes` (in /dev/videoN order), named. Names fit in 63 characters. With
// `twinModels`, models seen twice at once are added to it, and USB cameras of the models in
// it carry their port.
std::vector<CaptureDevice> NameCameras(std::vector<V4L2NodeAnswers> const& nodes,
                                       CaptureBackEnd* backEnd, TwinModels* twinModels = nullptr);

// Adds the model of `name` to `twinModels` when the name carries a port ("Cam [1.2]"): a
// stored choice of one of two twins keeps both named by port from the start.
void RememberName(std::string const& name, TwinModels& twinModels);

// `name` without its bracketed port part: "Cam [1.2] - S-Video" gives "Cam - S-Video". A
// choice stored as "Cam" finds "Cam [1.2]" by it, and the reverse.
std::string WithoutPort(std::string const& name);

}  // namespace V4L2Naming

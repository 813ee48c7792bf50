#include "platform/capture/V4L2Naming.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <map>

#include "platform/capture/DecompressSequence.h"

namespace V4L2Naming {

namespace {

constexpr std::size_t kMaxNameLength = 63;

std::string FieldText(std::uint8_t const* field, std::size_t size) {
    auto const* text = reinterpret_cast<char const*>(field);
    return std::string(text, strnlen(text, size));
}

std::uint32_t CapsOf(v4l2_capability const& capability) {
    return (capability.capabilities & V4L2_CAP_DEVICE_CAPS) != 0 ? capability.device_caps
                                                                 : capability.capabilities;
}

// `head` cut so that `head + tail` fits; the tail (port, input) is what tells cameras apart.
// Cuts UTF-8 text to at most `length` bytes without splitting a character (the menu shows
// names as UTF-8 and matches them back; half a character would never match). Text that
// arrived already cut inside a character (the kernel keeps 32 bytes of a card name) loses
// that partial character too.
std::string CutUTF8(std::string text, std::size_t length) {
    if (text.size() > length) {
        text.resize(length);
    }
    // Walk back over continuation bytes to the last lead byte and keep its character only
    // when it is complete.
    std::size_t lead = text.size();
    while (lead > 0 && (static_cast<unsigned char>(text[lead - 1]) & 0xC0) == 0x80) {
        --lead;
    }
    if (lead > 0) {
        unsigned char const first = static_cast<unsigned char>(text[lead - 1]);
        std::size_t const needed = first < 0x80 ? 1 : first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
        if (text.size() - (lead - 1) < needed) {
            text.resize(lead - 1);
        }
    }
    return text;
}

std::string Fit(std::string head, std::string const& tail) {
    std::size_t const room = tail.size() >= kMaxNameLength ? 0 : kMaxNameLength - tail.size();
    head = CutUTF8(std::move(head), room);
    while (!head.empty() && head.back() == ' ') {
        head.pop_back();
    }
    return CutUTF8(head + tail, kMaxNameLength);
}

// The bracketed part of a device's name at each level of detail.
std::string Qualifier(V4L2NodeAnswers const& node, int level) {
    std::string const bus = FieldText(node.capability.bus_info, sizeof(node.capability.bus_info));
    switch (level) {
        case 0:
            return "";
        case 1:
            return " [" + PortOf(bus) + "]";
        case 2:
            return " [" + bus + "]";
        default:
            return " [" + bus + "] (video" + std::to_string(node.number) + ")";
    }
}

}  // namespace

namespace {
std::atomic<bool> sLoopbackNodesAreCameras{false};
}  // namespace

void SetLoopbackNodesAreCameras(bool fCameras) { sLoopbackNodesAreCameras = fCameras; }

bool IsCamera(v4l2_capability const& capability) {
    std::uint32_t const caps = CapsOf(capability);
    if ((caps & V4L2_CAP_VIDEO_CAPTURE) == 0 || (caps & V4L2_CAP_STREAMING) == 0) {
        return false;
    }
    return sLoopbackNodesAreCameras ||
           FieldText(capability.driver, sizeof(capability.driver)) != "v4l2 loopback";
}

bool IsCamera(V4L2NodeAnswers const& node) {
    if (!IsCamera(node.capability)) {
        return false;
    }
    if ((CapsOf(node.capability) & V4L2_CAP_IO_MC) == 0) {
        return true;
    }
    return std::any_of(node.pixelFormats.begin(), node.pixelFormats.end(),
                       [](std::uint32_t code) { return DecompressSequence::CanDecode(code); });
}

bool IsInfraredOnly(std::vector<std::uint32_t> const& pixelFormats) {
    auto const isGrey = [](std::uint32_t code) {
        return code == V4L2_PIX_FMT_GREY || code == V4L2_PIX_FMT_Y10 ||
               code == V4L2_PIX_FMT_Y12 || code == V4L2_PIX_FMT_Y16 ||
               code == V4L2_PIX_FMT_Y8I || code == V4L2_PIX_FMT_Z16;
    };
    return !pixelFormats.empty() && std::all_of(pixelFormats.begin(), pixelFormats.end(), isGrey);
}

std::string PortOf(std::string const& busInfo) {
    if (busInfo.rfind("usb-", 0) != 0) {
        return busInfo;
    }
    std::size_t const dash = busInfo.rfind('-');
    return dash + 1 < busInfo.size() && dash > 3 ? busInfo.substr(dash + 1) : busInfo;
}

namespace {

std::string CardOf(V4L2NodeAnswers const& node) {
    return FieldText(node.capability.card, sizeof(node.capability.card));
}

bool IsUSB(V4L2NodeAnswers const& node) {
    return FieldText(node.capability.bus_info, sizeof(node.capability.bus_info)).rfind("usb-", 0) ==
           0;
}

bool HasBusAddress(V4L2NodeAnswers const& node) {
    return !FieldText(node.capability.bus_info, sizeof(node.capability.bus_info)).empty();
}

bool IsTwinModel(std::string const& card, TwinModels const* twinModels) {
    if (twinModels == nullptr) {
        return false;
    }
    return std::any_of(twinModels->begin(), twinModels->end(), [&card](std::string const& model) {
        return !model.empty() && card.rfind(model, 0) == 0;
    });
}

}  // namespace

void RememberName(std::string const& name, TwinModels& twinModels) {
    std::size_t const open = name.find(" [");
    if (open != std::string::npos && open > 0 && name.find(']', open) != std::string::npos) {
        twinModels.insert(name.substr(0, open));
    }
}

std::string WithoutPort(std::string const& name) {
    std::size_t const open = name.find(" [");
    std::size_t const close = open == std::string::npos ? open : name.find(']', open);
    if (close == std::string::npos) {
        return name;
    }
    return name.substr(0, open) + name.substr(close + 1);
}

std::vector<CaptureDevice> NameCameras(std::vector<V4L2NodeAnswers> const& nodes,
                                       CaptureBackEnd* backEnd, TwinModels* twinModels) {
    // Cameras with a bus address (a USB port, or a platform device such as the kernel's
    // vivid) can be told apart by it; a model seen twice keeps it for good.
    std::vector<V4L2NodeAnswers const*> cameras;
    std::map<std::string, int> addressedCameras;  // per model
    for (V4L2NodeAnswers const& node : nodes) {
        if (IsCamera(node)) {
            cameras.push_back(&node);
            if (HasBusAddress(node)) {
                ++addressedCameras[CardOf(node)];
            }
        }
    }
    if (twinModels != nullptr) {
        for (auto const& [card, count] : addressedCameras) {
            if (count > 1) {
                twinModels->insert(card);
            }
        }
    }
    // Start every camera at its card name (with its port for a model known to come in
    // pairs) and add detail to those that still share a name, until all differ.
    std::vector<int> level(cameras.size(), 0);
    for (std::size_t i = 0; i < cameras.size(); ++i) {
        if (HasBusAddress(*cameras[i]) && IsTwinModel(CardOf(*cameras[i]), twinModels)) {
            level[i] = 1;
        }
    }
    std::vector<std::string> names(cameras.size());
    for (;;) {
        std::map<std::string, int> uses;
        for (std::size_t i = 0; i < cameras.size(); ++i) {
            std::string const card =
                FieldText(cameras[i]->capability.card, sizeof(cameras[i]->capability.card));
            names[i] = Fit(card, Qualifier(*cameras[i], level[i]));
            ++uses[names[i]];
        }
        bool fChanged = false;
        for (std::size_t i = 0; i < cameras.size(); ++i) {
            if (uses[names[i]] > 1 && level[i] < 3) {
                ++level[i];
                fChanged = true;
            }
        }
        if (!fChanged) {
            break;
        }
    }

    std::vector<CaptureDevice> devices;
    for (std::size_t i = 0; i < cameras.size(); ++i) {
        V4L2NodeAnswers const& node = *cameras[i];
        CaptureDevice device;
        device.name = names[i];
        device.path = node.path;
        device.backEnd = backEnd;
        device.defaultUse = IsInfraredOnly(node.pixelFormats)      ? CaptureDevice::kDefaultNever
                            : IsUSB(node) && !node.fBuiltIn ? CaptureDevice::kDefaultFirst
                                                            : CaptureDevice::kDefaultLater;
        std::string const card = FieldText(node.capability.card, sizeof(node.capability.card));
        if (node.inputs.size() <= 1) {
            // A node that lists no input still captures from its one implicit input.
            device.inputs.push_back(device.name);
        } else {
            for (v4l2_input const& input : node.inputs) {
                std::string const inputName = FieldText(input.name, sizeof(input.name));
                device.inputs.push_back(Fit(card, Qualifier(node, level[i]) + " - " + inputName));
            }
        }
        devices.push_back(std::move(device));
    }
    return devices;
}

}  // namespace V4L2Naming

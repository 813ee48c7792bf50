#include "platform/capture/V4L2BackEnd.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>

#include "CoreX/CoreMachDebugLog.h"
#include "platform/capture/V4L2Formats.h"
#include "platform/capture/V4L2Resources.h"
#include "platform/capture/V4L2Source.h"

std::vector<V4L2NodeAnswers> V4L2BackEnd::FindNodes(std::string const& folder) {
    std::vector<V4L2NodeAnswers> nodes;
    DIR* dir = ::opendir(folder.c_str());
    if (dir == nullptr) {
        return nodes;
    }
    while (dirent const* entry = ::readdir(dir)) {
        char const* name = entry->d_name;
        if (std::strncmp(name, "video", 5) != 0 || name[5] == '\0') {
            continue;
        }
        char* end = nullptr;
        long const number = std::strtol(name + 5, &end, 10);
        if (*end != '\0' || number < 0 || name[5] < '0' || name[5] > '9') {
            continue;
        }
        V4L2NodeAnswers node;
        node.path = folder + "/" + name;
        node.number = static_cast<int>(number);
        nodes.push_back(std::move(node));
    }
    ::closedir(dir);
    std::sort(nodes.begin(), nodes.end(), [](V4L2NodeAnswers const& a, V4L2NodeAnswers const& b) {
        return a.number < b.number;
    });
    return nodes;
}

bool V4L2BackEnd::QueryNode(V4L2NodeAnswers& node) {
    // Opening a node does not claim it: another program may be streaming from it.
    ScopedFd fd(::open(node.path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    if (!fd.IsOpen()) {
        return false;
    }
    if (V4L2Ioctl(fd.Get(), VIDIOC_QUERYCAP, &node.capability) != 0) {
        return false;
    }
    node.inputs.clear();
    for (std::uint32_t index = 0;; ++index) {
        v4l2_input input{};
        input.index = index;
        if (V4L2Ioctl(fd.Get(), VIDIOC_ENUMINPUT, &input) != 0) {
            break;
        }
        node.inputs.push_back(input);
    }
    node.pixelFormats.clear();
    for (std::uint32_t index = 0;; ++index) {
        v4l2_fmtdesc format{};
        format.index = index;
        format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        if (V4L2Ioctl(fd.Get(), VIDIOC_ENUM_FMT, &format) != 0) {
            break;
        }
        node.pixelFormats.push_back(format.pixelformat);
    }
    // sysfs: the node's device is a USB interface; its parent, the USB device, says whether
    // its port is fixed (a camera built into the computer) or removable.
    std::ifstream removable("/sys/class/video4linux/video" + std::to_string(node.number) +
                            "/device/../removable");
    std::string attachment;
    node.fBuiltIn = std::getline(removable, attachment) && attachment == "fixed";
    return true;
}

void V4L2BackEnd::ScanIfDue(std::unique_lock<std::mutex>& lock, bool fLook) {
    if (mWatch.Folder() != mDeviceFolder || !mScanned) {
        // Watching starts before the scan, so that nothing plugged in during it is missed.
        mWatch.Watch(mDeviceFolder);
        mScanned = false;
    }
    // Without a watch the nodes are asked again at most once a second, not at every look
    // (the window looks on every tick).
    auto const now = std::chrono::steady_clock::now();
    bool fDue = !mScanned;
    if (!fDue && fLook) {
        fDue = mWatch.IsWatching() ? mWatch.Changed() : now - mScanTime >= std::chrono::seconds(1);
    }
    if (!fDue) {
        return;
    }
    mScanTime = now;
    std::string const folder = mDeviceFolder;
    lock.unlock();
    std::vector<V4L2NodeAnswers> nodes = FindNodes(folder);
    std::vector<V4L2NodeAnswers> answered;
    for (V4L2NodeAnswers& node : nodes) {
        if (QueryNode(node)) {
            answered.push_back(std::move(node));
        }
    }
    lock.lock();
    mAnswered = std::move(answered);
    mScanned = true;
    ++mGeneration;
}

void V4L2BackEnd::ListDevices(std::vector<CaptureDevice>& devices) {
    std::unique_lock lock(mMutex);
    bool const fFolderChanged = mWatch.Folder() != mDeviceFolder;
    if (!mScannedByRefresh || !mScanned || fFolderChanged) {
        ScanIfDue(lock, !mScannedByRefresh);
    }
    // Named at every look: a stored name may have taught a model's twin since.
    std::vector<CaptureDevice> cameras = V4L2Naming::NameCameras(mAnswered, this, &mTwinModels);
    devices.insert(devices.end(), cameras.begin(), cameras.end());
}

void V4L2BackEnd::Refresh() {
    std::unique_lock lock(mMutex);
    ScanIfDue(lock, true);
}

int V4L2BackEnd::OpenInput(CaptureDevice const& device, int input, int width, int height,
                           std::unique_ptr<CaptureSource>& source, double framesPerSecond) {
    source.reset();
    if (input < 0 || input >= static_cast<int>(device.inputs.size())) {
        return paramErr;
    }
    auto opened = std::make_unique<V4L2Source>();
    int const err =
        opened->Open(device.path, device.inputs[input], input, width, height, framesPerSecond);
    if (err == noErr) {
        source = std::move(opened);
    }
    return err;
}

void V4L2BackEnd::DescribeFormats(CaptureDevice const& device, std::vector<std::string>& lines) {
    ScopedFd fd(::open(device.path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    if (!fd.IsOpen()) {
        lines.push_back("(cannot be opened: " + std::string(std::strerror(errno)) + ")");
        return;
    }
    for (V4L2FormatAnswers const& format : V4L2Formats::Enumerate(fd.Get())) {
        lines.push_back(V4L2Formats::Describe(format));
    }
}

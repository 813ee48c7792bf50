#pragma once
// Cameras of the kernel's video API: the /dev/videoN nodes that capture, in the order of N.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

#include "platform/capture/CaptureBackEnd.h"
#include "platform/capture/V4L2DeviceWatch.h"
#include "platform/capture/V4L2Naming.h"

class V4L2BackEnd : public CaptureBackEnd {
public:
    // Where the video nodes are looked for: "/dev", unless a test points elsewhere.
    void SetDeviceFolder(std::string folder) {
        std::lock_guard lock(mMutex);
        mDeviceFolder = std::move(folder);
    }

    // The cameras as last scanned; the nodes are opened and asked again only when a node
    // came, went or changed its permissions since (a camera plugged in or unplugged), and
    // with the scanning left to Refresh, only at the first look. Any thread.
    void ListDevices(std::vector<CaptureDevice>& devices) override;
    // Makes the next look ask every node again: a node can change what it is without coming
    // or going (a loopback node is a camera only while a program writes to it).
    void ForgetScan() {
        std::lock_guard lock(mMutex);
        mScanned = false;
    }
    // Scans again if a node came, went or changed since the last scan. The capture worker
    // calls it, so that the thread that asks for the list never waits on a node.
    void Refresh();
    // From now on only Refresh and the first look scan.
    void SetScannedByRefresh(bool byRefresh) { mScannedByRefresh = byRefresh; }
    // Changes whenever a scan found the nodes changed: menus follow it.
    std::uint64_t Generation() const {
        std::lock_guard lock(mMutex);
        return mGeneration;
    }
    int OpenInput(CaptureDevice const& device, int input, int width, int height,
                  std::unique_ptr<CaptureSource>& source, double framesPerSecond = 30.0) override;
    void DescribeFormats(CaptureDevice const& device, std::vector<std::string>& lines) override;

    // The nodes named videoN in `folder`, by N.
    static std::vector<V4L2NodeAnswers> FindNodes(std::string const& folder);
    // Asks one node what it is and which inputs it has; false when it does not answer as a
    // V4L2 device.
    static bool QueryNode(V4L2NodeAnswers& node);

    // A camera name the user chose, stored earlier: a name with a port keeps that model
    // named by port from now on.
    void RememberCameraName(std::string const& name) {
        std::lock_guard lock(mMutex);
        V4L2Naming::RememberName(name, mTwinModels);
    }

private:
    // Scans when nothing was scanned yet, or with `fLook` when the watch saw a change; the
    // nodes are asked with the lock let go.
    void ScanIfDue(std::unique_lock<std::mutex>& lock, bool fLook);

    mutable std::mutex mMutex;  // guards everything below
    std::atomic<bool> mScannedByRefresh{false};
    std::string mDeviceFolder = "/dev";
    V4L2DeviceWatch mWatch;
    bool mScanned = false;
    std::chrono::steady_clock::time_point mScanTime;
    std::vector<V4L2NodeAnswers> mAnswered;  // the nodes that answered at the last scan
    std::uint64_t mGeneration = 0;
    V4L2Naming::TwinModels mTwinModels;  // grows for the whole run, never shrinks
};

#include "platform/capture/CaptureOpener.h"

#include <chrono>

#include "CoreX/CoreMachDebugLog.h"
#include "platform/capture/CaptureRegistry.h"

namespace {

// How often the worker looks at the device watch when it has nothing else to do: a camera
// plugged in shows in the menus within this time.
constexpr auto kDeviceLookInterval = std::chrono::milliseconds(100);

}  // namespace

CaptureOpener::CaptureOpener(CaptureRegistry& registry)
    : mRegistry(registry), mThread([this] { Run(); }) {}

CaptureOpener::~CaptureOpener() {
    {
        std::lock_guard lock(mMutex);
        mQuit = true;
        mJobs.clear();
    }
    mWake.notify_all();
    mThread.join();
}

std::shared_ptr<CaptureOpenResult> CaptureOpener::Open(CaptureOpenRequest request) {
    auto result = std::make_shared<CaptureOpenResult>();
    {
        std::lock_guard lock(mMutex);
        mJobs.push_back([this, request = std::move(request), result] {
            Settle(request, *result);
            result->done.store(true, std::memory_order_release);
        });
    }
    mWake.notify_all();
    return result;
}

void CaptureOpener::Drain() {
    std::unique_lock lock(mMutex);
    mJobs.push_back([] {});  // the worker looks at the devices before every request
    mWake.notify_all();
    mIdle.wait(lock, [this] { return mQuit || (mJobs.empty() && !mBusy); });
}

void CaptureOpener::Run() {
    std::unique_lock lock(mMutex);
    while (!mQuit) {
        mWake.wait_for(lock, kDeviceLookInterval, [this] { return mQuit || !mJobs.empty(); });
        if (mQuit) {
            break;
        }
        std::function<void()> job;
        if (!mJobs.empty()) {
            job = std::move(mJobs.front());
            mJobs.pop_front();
        }
        mBusy = true;
        lock.unlock();
        // Scanning opens every video node: done here, never on a tick.
        mRegistry.RefreshDevices();
        if (job) {
            job();
        }
        lock.lock();
        mBusy = false;
        if (mJobs.empty()) {
            mIdle.notify_all();
        }
    }
    mIdle.notify_all();
}

void CaptureOpener::Settle(CaptureOpenRequest const& request, CaptureOpenResult& result) {
    std::vector<CaptureDevice> const devices = mRegistry.ListDevices();
    std::vector<std::pair<CaptureDevice const*, int>> tries;
    if (request.cameras.empty()) {
        for (CaptureDevice const* device : CaptureRegistry::DefaultOrder(devices)) {
            for (int input = 0; input < static_cast<int>(device->inputs.size()); ++input) {
                tries.emplace_back(device, input);
            }
        }
    } else {
        for (CaptureOpenRequest::Camera const& wanted : request.cameras) {
            for (CaptureDevice const& device : devices) {
                if (device.name == wanted.deviceName && wanted.input >= 0 &&
                    wanted.input < static_cast<int>(device.inputs.size())) {
                    tries.emplace_back(&device, wanted.input);
                }
            }
        }
    }
    result.err = sgNoDeviceErr;
    for (auto const& [device, input] : tries) {
        std::unique_ptr<CaptureSource> source;
        int err = device->backEnd->OpenInput(*device, input, request.width, request.height, source,
                                             request.framesPerSecond);
        if (err == noErr) {
            err = source->Start();
        }
        if (err == noErr) {
            result.err = noErr;
            result.source = std::move(source);
            result.device = *device;
            result.input = input;
            return;
        }
        // The most telling reason is kept: busy or short of bandwidth over not there.
        if (result.err == sgNoDeviceErr || err != sgNoDeviceErr) {
            result.err = err;
        }
    }
}

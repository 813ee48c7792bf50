#pragma once
// All capture back ends, and the one order in which their cameras are walked: V4L2 devices
// by /dev/videoN number, then the built-in test pattern last.

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/capture/CaptureBackEnd.h"
#include "platform/capture/CaptureOpener.h"
#include "platform/capture/TestPatternBackEnd.h"
#include "platform/capture/V4L2BackEnd.h"

class CaptureRegistry {
public:
    static CaptureRegistry& Shared();

    // Every device as it is now, in walk order. Any thread; once the worker runs, the
    // kernel's devices are as the worker last scanned them.
    std::vector<CaptureDevice> ListDevices();
    // Scans the kernel's devices again if they changed (the worker, between requests).
    void RefreshDevices();
    // The worker thread that opens cameras; started at the first call, and from then on
    // the one that scans the kernel's devices. Main thread.
    CaptureOpener& Opener();
    // Opens input `input` of the device called `deviceName`.
    int OpenCamera(std::string const& deviceName, int input, int width, int height,
                   std::unique_ptr<CaptureSource>& source, CaptureDevice& device,
                   double framesPerSecond = 30.0);
    // Opens the first camera that can be opened now (one that another grabber or program
    // holds is passed over), in DefaultOrder; `device` and `input` say which it was.
    int OpenDefaultCamera(int width, int height, std::unique_ptr<CaptureSource>& source,
                          CaptureDevice& device, int& input, double framesPerSecond = 30.0);

    // The devices a grabber opened without a camera tries: those plugged into the computer
    // first, then the others, each group in walk order; infrared-only nodes never.
    static std::vector<CaptureDevice const*> DefaultOrder(
        std::vector<CaptureDevice> const& devices);

    // Whether the cameras or their names changed since the last call: one non-blocking look
    // at the device watch, no device opened. The window asks on its tick, to rebuild menus.
    bool DevicesChanged();
    // Changes whenever a device comes or goes; reading it costs nothing.
    std::uint64_t DevicesGeneration() const {
        return (mV4L2Enabled ? mV4L2.Generation() : 0) + TestPatternBackEnd::ListGeneration();
    }

    V4L2BackEnd& V4L2() { return mV4L2; }
    // Leaves the kernel's cameras out (tests that must see only the test pattern).
    void SetV4L2Enabled(bool enabled) { mV4L2Enabled = enabled; }

private:
    V4L2BackEnd mV4L2;
    TestPatternBackEnd mTestPattern;
    std::atomic<bool> mV4L2Enabled{true};
    std::optional<std::vector<std::string>> mSeenInputs;  // as DevicesChanged last saw them
    std::unique_ptr<CaptureOpener> mOpener;  // declared last: stopped before the back ends go
};

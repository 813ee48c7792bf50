#include "platform/capture/TestPatternBackEnd.h"

#include <algorithm>
#include <cstdlib>

#include "CoreX/CoreMachDebugLog.h"
#include "platform/capture/TestPatternSource.h"

namespace {

// Main thread only, like all capture.
struct TestPatternState {
    bool plugged = true;
    std::uint64_t generation = 0;
    bool freeRunning = false;
    bool streamingRefused = false;
    bool frozen = false;
    long long framesDelivered = 0;
    bool inputOpen[TestPatternBackEnd::kInputCount] = {};
    bool injected[TestPatternBackEnd::kInputCount] = {};
    std::vector<std::uint8_t> injectedFrame[TestPatternBackEnd::kInputCount];
    std::int64_t clockTick[TestPatternBackEnd::kInputCount] = {-1, -1};
    std::int64_t clockTickTimeUs[TestPatternBackEnd::kInputCount] = {};
};

TestPatternState& State() {
    static TestPatternState sState;
    return sState;
}

bool IsValidInput(int input) { return input >= 0 && input < TestPatternBackEnd::kInputCount; }

}  // namespace

void TestPatternBackEnd::Plug() { State().plugged = true; }

void TestPatternBackEnd::Unplug() {
    if (State().plugged) {
        State().plugged = false;
        ++State().generation;
    }
}

bool TestPatternBackEnd::IsPlugged() { return State().plugged; }

void TestPatternBackEnd::InjectFrame(int input, std::vector<std::uint8_t> frame) {
    VERIFY(IsValidInput(input));
    if (IsValidInput(input)) {
        State().injectedFrame[input] = std::move(frame);
        State().injected[input] = true;
    }
}

void TestPatternBackEnd::SetFreeRunning(bool freeRunning) { State().freeRunning = freeRunning; }

void TestPatternBackEnd::SetStreamingRefused(bool refused) { State().streamingRefused = refused; }

bool TestPatternBackEnd::StreamingRefused() { return State().streamingRefused; }

void TestPatternBackEnd::NoteFrameDelivered() {
    static long long const sUnplugAfter = [] {
        char const* value = std::getenv("DUOSCOPE_TEST_PATTERN_UNPLUG_AFTER");
        return value != nullptr ? std::atoll(value) : 0LL;
    }();
    if (++State().framesDelivered == sUnplugAfter) {
        CoreMachDebugLog("TestPatternBackEnd: unplugged after %lld frames, as the environment "
                         "asks\n",
                         sUnplugAfter);
        Unplug();
    }
}

void TestPatternBackEnd::SetFrozen(bool frozen) { State().frozen = frozen; }

bool TestPatternBackEnd::Frozen() { return State().frozen; }

std::uint64_t TestPatternBackEnd::PlugGeneration() { return State().generation; }

bool TestPatternBackEnd::FreeRunning() { return State().freeRunning; }

bool TestPatternBackEnd::TakeInjectedFrame(int input, std::vector<std::uint8_t>& frame) {
    if (!IsValidInput(input) || !State().injected[input]) {
        return false;
    }
    State().injected[input] = false;
    frame.swap(State().injectedFrame[input]);
    return true;
}

void TestPatternBackEnd::ReleaseInput(int input) {
    if (IsValidInput(input)) {
        State().inputOpen[input] = false;
        State().clockTick[input] = -1;
    }
}

void TestPatternBackEnd::NoteClockTick(int input, std::int64_t tick, std::int64_t timeUs) {
    if (IsValidInput(input)) {
        State().clockTick[input] = tick;
        State().clockTickTimeUs[input] = timeUs;
    }
}

bool TestPatternBackEnd::LastClockTick(int input, std::int64_t& tick, std::int64_t& timeUs) {
    if (!IsValidInput(input) || State().clockTick[input] < 0) {
        return false;
    }
    tick = State().clockTick[input];
    timeUs = State().clockTickTimeUs[input];
    return true;
}

void TestPatternBackEnd::ListDevices(std::vector<CaptureDevice>& devices) {
    if (!IsPlugged()) {
        return;
    }
    CaptureDevice device;
    device.name = kDeviceName;
    device.inputs.assign(std::begin(kInputNames), std::end(kInputNames));
    device.path = "test-pattern";
    device.backEnd = this;
    devices.push_back(std::move(device));
}

int TestPatternBackEnd::OpenInput(CaptureDevice const& device, int input, int width, int height,
                                  std::unique_ptr<CaptureSource>& source) {
    source.reset();
    if (!IsPlugged()) {
        return sgNoDeviceErr;
    }
    if (!IsValidInput(input) || device.name != kDeviceName) {
        return paramErr;
    }
    if (State().inputOpen[input]) {
        return sgDeviceBusyErr;
    }
    // Any size is rendered as asked, within what a camera could send.
    width = std::clamp(width, 16, 3840);
    height = std::clamp(height, 16, 2160);
    auto opened = std::make_unique<TestPatternSource>(input, width, height);
    int const err = opened->Construct();
    if (err != noErr) {
        return err;
    }
    State().inputOpen[input] = true;
    source = std::move(opened);
    return noErr;
}

void TestPatternBackEnd::DescribeFormats(CaptureDevice const& device,
                                         std::vector<std::string>& lines) {
    lines.push_back(
        "MJPG (Motion-JPEG): any size from 16x16 to 3840x2160, rendered as asked, 30 fps");
}

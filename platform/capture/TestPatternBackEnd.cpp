#include "platform/capture/TestPatternBackEnd.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>

#include "CoreX/CoreMachDebugLog.h"
#include "platform/capture/TestPatternSource.h"

namespace {

// Shared by the main thread (grabbing, plugging) and the capture worker (opening), each
// access under the lock.
struct TestPatternState {
    bool plugged[2] = {true, false};  // by Device
    std::uint64_t generation[2] = {};
    std::uint64_t listGeneration = 0;
    bool freeRunning = false;
    bool streamingRefused = false;
    bool frozen = false;
    long long framesDelivered = 0;
    // By slot: the main device's inputs, then the spare's.
    bool inputOpen[TestPatternBackEnd::kSlotCount] = {};
    bool injected[TestPatternBackEnd::kSlotCount] = {};
    std::vector<std::uint8_t> injectedFrame[TestPatternBackEnd::kSlotCount];
    std::int64_t clockTick[TestPatternBackEnd::kSlotCount] = {-1, -1, -1};
    std::int64_t clockTickTimeUs[TestPatternBackEnd::kSlotCount] = {};
};

std::recursive_mutex sStateMutex;

// Holds the lock for the whole statement it is used in.
struct LockedState {
    std::lock_guard<std::recursive_mutex> lock{sStateMutex};
    TestPatternState* operator->() const {
        static TestPatternState sState;
        return &sState;
    }
};
LockedState State() { return {}; }

bool IsValidInput(int input) { return input >= 0 && input < TestPatternBackEnd::kSlotCount; }

}  // namespace

char const* TestPatternBackEnd::SlotName(int slot) {
    return slot == kSpareSlot ? kSpareInputName : kInputNames[slot == 1 ? 1 : 0];
}

void TestPatternBackEnd::Plug(Device device) {
    LockedState state;
    if (!state->plugged[device]) {
        state->plugged[device] = true;
        ++state->listGeneration;
    }
}

void TestPatternBackEnd::Unplug(Device device) {
    LockedState state;
    if (state->plugged[device]) {
        state->plugged[device] = false;
        ++state->generation[device];
        ++state->listGeneration;
    }
}

bool TestPatternBackEnd::IsPlugged(Device device) { return State()->plugged[device]; }

void TestPatternBackEnd::InjectFrame(int input, std::vector<std::uint8_t> frame) {
    VERIFY(IsValidInput(input));
    if (IsValidInput(input)) {
        State()->injectedFrame[input] = std::move(frame);
        State()->injected[input] = true;
    }
}

void TestPatternBackEnd::SetFreeRunning(bool freeRunning) { State()->freeRunning = freeRunning; }

void TestPatternBackEnd::SetStreamingRefused(bool refused) { State()->streamingRefused = refused; }

bool TestPatternBackEnd::StreamingRefused() { return State()->streamingRefused; }

void TestPatternBackEnd::NoteFrameDelivered() {
    static long long const sUnplugAfter = [] {
        char const* value = std::getenv("DUOSCOPE_TEST_PATTERN_UNPLUG_AFTER");
        return value != nullptr ? std::atoll(value) : 0LL;
    }();
    if (++State()->framesDelivered == sUnplugAfter) {
        CoreMachDebugLog("TestPatternBackEnd: unplugged after %lld frames, as the environment "
                         "asks\n",
                         sUnplugAfter);
        Unplug();
    }
}

void TestPatternBackEnd::SetFrozen(bool frozen) { State()->frozen = frozen; }

bool TestPatternBackEnd::Frozen() { return State()->frozen; }

std::uint64_t TestPatternBackEnd::PlugGeneration(Device device) {
    return State()->generation[device];
}

std::uint64_t TestPatternBackEnd::ListGeneration() { return State()->listGeneration; }

bool TestPatternBackEnd::FreeRunning() { return State()->freeRunning; }

bool TestPatternBackEnd::TakeInjectedFrame(int input, std::vector<std::uint8_t>& frame) {
    if (!IsValidInput(input) || !State()->injected[input]) {
        return false;
    }
    State()->injected[input] = false;
    frame.swap(State()->injectedFrame[input]);
    return true;
}

void TestPatternBackEnd::ReleaseInput(int input) {
    if (IsValidInput(input)) {
        State()->inputOpen[input] = false;
        State()->clockTick[input] = -1;
    }
}

void TestPatternBackEnd::NoteClockTick(int input, std::int64_t tick, std::int64_t timeUs) {
    if (IsValidInput(input)) {
        State()->clockTick[input] = tick;
        State()->clockTickTimeUs[input] = timeUs;
    }
}

bool TestPatternBackEnd::LastClockTick(int input, std::int64_t& tick, std::int64_t& timeUs) {
    if (!IsValidInput(input) || State()->clockTick[input] < 0) {
        return false;
    }
    tick = State()->clockTick[input];
    timeUs = State()->clockTickTimeUs[input];
    return true;
}

void TestPatternBackEnd::ListDevices(std::vector<CaptureDevice>& devices) {
    if (IsPlugged(kSpare)) {
        CaptureDevice device;
        device.name = kSpareDeviceName;
        device.inputs = {kSpareInputName};
        device.path = "test-pattern-spare";
        device.backEnd = this;
        device.defaultUse = CaptureDevice::kDefaultFirst;
        devices.push_back(std::move(device));
    }
    if (IsPlugged(kMain)) {
        CaptureDevice device;
        device.name = kDeviceName;
        device.inputs.assign(std::begin(kInputNames), std::end(kInputNames));
        device.path = "test-pattern";
        device.backEnd = this;
        devices.push_back(std::move(device));
    }
}

int TestPatternBackEnd::OpenInput(CaptureDevice const& device, int input, int width, int height,
                                  std::unique_ptr<CaptureSource>& source, double) {
    source.reset();
    bool const fSpare = device.name == kSpareDeviceName;
    if (!IsPlugged(fSpare ? kSpare : kMain)) {
        return sgNoDeviceErr;
    }
    if ((!fSpare && device.name != kDeviceName) || input < 0 ||
        input >= (fSpare ? 1 : kInputCount)) {
        return paramErr;
    }
    int const slot = fSpare ? kSpareSlot : input;
    {
        // Taken before it is built, so that two threads opening it cannot both have it.
        LockedState state;
        if (state->inputOpen[slot]) {
            return sgDeviceBusyErr;
        }
        state->inputOpen[slot] = true;
    }
    // Any size is rendered as asked, within what a camera could send.
    width = std::clamp(width, 16, 3840);
    height = std::clamp(height, 16, 2160);
    auto opened = std::make_unique<TestPatternSource>(slot, width, height);
    int const err = opened->Construct();
    if (err != noErr) {
        return err;  // the source gives the input back as it goes
    }
    source = std::move(opened);
    return noErr;
}

void TestPatternBackEnd::DescribeFormats(CaptureDevice const& device,
                                         std::vector<std::string>& lines) {
    lines.push_back(
        "MJPG (Motion-JPEG): any size from 16x16 to 3840x2160, rendered as asked, 30 fps");
}

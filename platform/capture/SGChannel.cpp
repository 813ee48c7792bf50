#include "platform/capture/SGChannel.h"

#include "CoreX/CoreMachDebugLog.h"
#include "platform/capture/CaptureRegistry.h"
#include "platform/capture/SGComponent.h"

namespace {

// Asked of the camera when no bounds were set.
constexpr int kDefaultWidth = 640;
constexpr int kDefaultHeight = 480;

}  // namespace

SGChannel::SGChannel(SGComponent& owner, OSType mediaType) : mOwner(owner), mMediaType(mediaType) {}

SGChannel::~SGChannel() { CloseCamera(); }

void SGChannel::CloseCamera() {
    if (mSource && (mRecording || mStreaming) && !mLost) {
        mSource->Stop();
    }
    mRecording = false;
    mStreaming = false;
    mLost = false;
    mSource.reset();
    mOpenDeviceName.clear();
    mCameraName.clear();
    mOpenInput = 0;
}

int SGChannel::SetSettingsStateChanging(int state) {
    if (state != 1 && state != 2) {
        return paramErr;
    }
    mSettingsState = state;
    return noErr;
}

int SGChannel::SetDevice(Str63 const deviceName) {
    if (deviceName == nullptr) {
        return paramErr;
    }
    std::string const name = PStr63ToString(deviceName);
    for (CaptureDevice const& device : CaptureRegistry::Shared().ListDevices()) {
        if (device.name == name) {
            mDeviceName = name;
            return noErr;
        }
    }
    return sgNoDeviceErr;
}

int SGChannel::SetDeviceInput(short input) {
    if (input < 0) {
        return paramErr;
    }
    mInput = input;
    return noErr;
}

void SGChannel::AdoptSource(std::unique_ptr<CaptureSource> source, CaptureDevice const& device,
                            int input) {
    CloseCamera();
    if (!source || input < 0 || input >= static_cast<int>(device.inputs.size())) {
        return;
    }
    mSource = std::move(source);
    mStreaming = true;
    mDeviceName = device.name;
    mInput = input;
    mOpenDeviceName = device.name;
    mOpenInput = input;
    mCameraName = device.inputs[input];
}

int SGChannel::SetBounds(SGRect const& bounds) {
    if (bounds.IsEmpty()) {
        return paramErr;
    }
    mBounds = bounds;
    return noErr;
}

int SGChannel::SetUsage(long usage) {
    mUsage = usage;
    return noErr;
}

int SGChannel::GetDeviceAndInputNames(Str63 deviceName, Str63 inputName, short* inputNumber) const {
    if (deviceName != nullptr) {
        PStr63FromCString(mCameraName.c_str(), deviceName);
    }
    if (inputName != nullptr) {
        PStr63FromCString(mOpenDeviceName.c_str(), inputName);
    }
    if (inputNumber != nullptr) {
        *inputNumber = static_cast<short>(mOpenInput);
    }
    return noErr;
}

int SGChannel::GetSampleDescription(ImageDescription& description) const {
    if (!mSource) {
        return sgNotPreparedErr;
    }
    description = mSource->Description();
    return noErr;
}

int SGChannel::GetDeviceList(long selectionFlags, SGDeviceList& list) const {
    auto record = std::make_unique<SGDeviceListRecord>();
    std::vector<CaptureDevice> const devices = CaptureRegistry::Shared().ListDevices();
    std::string const& current = mSource ? mOpenDeviceName : mDeviceName;
    for (CaptureDevice const& device : devices) {
        SGDeviceName entry;
        PStr63FromCString(device.name.c_str(), entry.name);
        if ((selectionFlags & sgDeviceListIncludeInputs) != 0) {
            auto inputs = std::make_shared<SGDeviceInputListRecord>();
            for (std::string const& input : device.inputs) {
                SGDeviceInputName inputEntry;
                PStr63FromCString(input.c_str(), inputEntry.name);
                inputs->entry.push_back(inputEntry);
            }
            entry.inputs = std::move(inputs);
        }
        if (device.name == current) {
            record->selectedIndex = record->Count();
        }
        record->entry.push_back(std::move(entry));
    }
    list = std::move(record);
    return noErr;
}

int SGChannel::Prepare() {
    if (mSettingsState == 1) {
        return paramErr;  // a device change is still under way
    }
    bool const fSameCamera = mSource && (mDeviceName.empty() ||
                                         (mDeviceName == mOpenDeviceName && mInput == mOpenInput));
    if (fSameCamera) {
        return noErr;
    }
    CloseCamera();
    int const width = mBounds.IsEmpty() ? kDefaultWidth : mBounds.Width();
    int const height = mBounds.IsEmpty() ? kDefaultHeight : mBounds.Height();
    CaptureRegistry& registry = CaptureRegistry::Shared();
    CaptureDevice device;
    int input = mInput;
    int err;
    if (mDeviceName.empty()) {
        err = registry.OpenDefaultCamera(width, height, mSource, device, input, mFramesPerSecond);
        if (err != noErr) {
            CoreMachDebugLog("SGChannel: no camera can be opened now\n");
        }
    } else {
        err = registry.OpenCamera(mDeviceName, mInput, width, height, mSource, device,
                                  mFramesPerSecond);
        if (err != noErr) {
            CoreMachDebugLog("SGChannel: camera '%s' input %d cannot be opened: %s\n",
                             mDeviceName.c_str(), mInput, SGStatusText(err));
        }
    }
    if (err != noErr) {
        mSource.reset();
        return err;
    }
    mOpenDeviceName = device.name;
    mOpenInput = input;
    mCameraName = device.inputs[input];
    return noErr;
}

int SGChannel::StartRecord() {
    if (!mSource) {
        return sgNotPreparedErr;
    }
    if (mRecording) {
        return noErr;
    }
    int const err = mStreaming ? noErr : mSource->Start();
    if (err == noErr) {
        mRecording = true;
    }
    return err;
}

int SGChannel::Stop() {
    int err = noErr;
    if (mSource && (mRecording || mStreaming) && !mLost) {
        err = mSource->Stop();
    }
    mRecording = false;
    mStreaming = false;
    return err;
}

int SGChannel::Idle() {
    if (!mSource || !mRecording) {
        return noErr;
    }
    if (mLost) {
        return sgDeviceLostErr;
    }
    int const result = mSource->Grab(*this);
    if (result == sgDeviceLostErr) {
        mLost = true;
        CoreMachDebugLog("SGChannel: camera '%s' has gone\n", mCameraName.c_str());
    }
    return result;
}

int SGChannel::OnFrame(std::uint8_t const* data, std::size_t size, std::int64_t timeUs) {
    return mOwner.DeliverFrame(this, data, size, timeUs);
}

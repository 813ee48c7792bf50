#include "platform/capture/CaptureRegistry.h"

CaptureRegistry& CaptureRegistry::Shared() {
    static CaptureRegistry sRegistry;
    return sRegistry;
}

std::vector<CaptureDevice> CaptureRegistry::ListDevices() {
    std::vector<CaptureDevice> devices;
    if (mV4L2Enabled) {
        mV4L2.ListDevices(devices);
    }
    mTestPattern.ListDevices(devices);
    return devices;
}

void CaptureRegistry::RefreshDevices() {
    if (mV4L2Enabled) {
        mV4L2.Refresh();
    }
}

CaptureOpener& CaptureRegistry::Opener() {
    if (!mOpener) {
        mV4L2.SetScannedByRefresh(true);
        mOpener = std::make_unique<CaptureOpener>(*this);
    }
    return *mOpener;
}

int CaptureRegistry::OpenCamera(std::string const& deviceName, int input, int width, int height,
                                std::unique_ptr<CaptureSource>& source, CaptureDevice& device,
                                double framesPerSecond) {
    source.reset();
    for (CaptureDevice const& listed : ListDevices()) {
        if (listed.name == deviceName) {
            device = listed;
            return listed.backEnd->OpenInput(listed, input, width, height, source,
                                             framesPerSecond);
        }
    }
    return sgNoDeviceErr;
}

int CaptureRegistry::OpenDefaultCamera(int width, int height,
                                       std::unique_ptr<CaptureSource>& source,
                                       CaptureDevice& device, int& input,
                                       double framesPerSecond) {
    source.reset();
    std::vector<CaptureDevice> const devices = ListDevices();
    for (CaptureDevice const* listed : DefaultOrder(devices)) {
        for (int i = 0; i < static_cast<int>(listed->inputs.size()); ++i) {
            if (listed->backEnd->OpenInput(*listed, i, width, height, source, framesPerSecond) ==
                noErr) {
                device = *listed;
                input = i;
                return noErr;
            }
        }
    }
    return sgNoDeviceErr;
}

std::vector<CaptureDevice const*> CaptureRegistry::DefaultOrder(
    std::vector<CaptureDevice> const& devices) {
    std::vector<CaptureDevice const*> order;
    for (auto use : {CaptureDevice::kDefaultFirst, CaptureDevice::kDefaultLater}) {
        for (CaptureDevice const& device : devices) {
            if (device.defaultUse == use) {
                order.push_back(&device);
            }
        }
    }
    return order;
}

bool CaptureRegistry::DevicesChanged() {
    std::vector<std::string> inputs;
    for (CaptureDevice const& device : ListDevices()) {
        inputs.insert(inputs.end(), device.inputs.begin(), device.inputs.end());
    }
    if (inputs == mSeenInputs) {
        return false;
    }
    mSeenInputs = std::move(inputs);
    return true;
}

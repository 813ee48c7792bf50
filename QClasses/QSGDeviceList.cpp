#include "QClasses/QSGDeviceList.h"

#include <cstdio>

#include "CoreX/CoreMachDebugLog.h"
#include "CoreX/CorePString.h"

char const* QSGDeviceList::InputIterator::GetNameForUI() const {
    static char sNameForUI[400];
    CorePString const deviceText(deviceName);
    CorePString const inputText(inputName);
    std::snprintf(sNameForUI, sizeof(sNameForUI), "Camera Device[%d]:'%s' Input[%d]:'%s' \n",
                  device, deviceText.c_str(), input, inputText.c_str());
    return sNameForUI;
}

void QSGDeviceList::InputIterator::CoreDebugLog(char const* label) const {
    CoreMachDebugLog("QSGDeviceList::InputIterator %s:%s\n", label, GetNameForUI());
}

void QSGDeviceList::Adopt(SGComponent* component, SGDeviceList list) {
    mComponent = component;
    mDeviceList = std::move(list);
}

bool QSGDeviceList::GetDeviceNameCount(std::int16_t& count) const {
    count = 0;
    VERIFY(IsValid());
    if (!IsValid()) {
        return false;
    }
    count = mDeviceList->Count();
    return true;
}

bool QSGDeviceList::IsValidDevice(int deviceIndex) const {
    std::int16_t deviceCount = 0;
    if (!GetDeviceNameCount(deviceCount)) {
        return false;
    }
    // Negative indices never reach the list.
    return deviceIndex >= 0 && deviceIndex < deviceCount;
}

bool QSGDeviceList::IsValidDevice(InputIterator const& iterator) const {
    std::int16_t deviceCount = 0;
    if (!GetDeviceNameCount(deviceCount) || deviceCount < 1) {
        return false;
    }
    return iterator.device >= 0 && iterator.device < deviceCount;
}

bool QSGDeviceList::GetDeviceName(SGDeviceName& name, int deviceIndex) const {
    bool fOk;
    VERIFY(fOk = IsValidDevice(deviceIndex));
    if (fOk) {
        name = mDeviceList->entry[deviceIndex];
    }
    return fOk;
}

bool QSGDeviceList::GetDeviceName(Str63 name, int deviceIndex) const {
    bool fOk;
    VERIFY(fOk = IsValidDevice(deviceIndex));
    if (fOk) {
        PStr63Copy(name, mDeviceList->entry[deviceIndex].name);
    }
    return fOk;
}

bool QSGDeviceList::GetDeviceInputNameCount(int deviceIndex, std::int16_t& count) const {
    count = 0;
    bool fOk;
    VERIFY(fOk = IsValidDevice(deviceIndex));
    if (fOk && mDeviceList->entry[deviceIndex].inputs) {
        count = mDeviceList->entry[deviceIndex].inputs->Count();
    }
    return fOk;
}

bool QSGDeviceList::IsValidDeviceInput(InputIterator const& iterator) const {
    std::int16_t count = 0;
    return IsValidDevice(iterator) && GetDeviceInputNameCount(iterator.device, count) && count > 0;
}

bool QSGDeviceList::GetDeviceInputName(int deviceIndex, SGDeviceInputName& name,
                                       int in_deviceNameIndex) const {
    std::int16_t deviceInputNameCount = 0;
    bool fOk;
    VERIFY(fOk = GetDeviceInputNameCount(deviceIndex, deviceInputNameCount));
    if (fOk) {
        VERIFY(fOk = mDeviceList->entry[deviceIndex].inputs != nullptr);
    }
    if (fOk) {
        VERIFY(fOk = in_deviceNameIndex >= 0);
    }
    if (fOk) {
        // clang-format off
        VERIFY(in_deviceNameIndex<deviceInputNameCount);
        // clang-format on
        fOk = in_deviceNameIndex < deviceInputNameCount;
    }
    if (fOk) {
        name = mDeviceList->entry[deviceIndex].inputs->entry[in_deviceNameIndex];
    }
    return fOk;
}

bool QSGDeviceList::GetDeviceInputName(int deviceIndex, Str63 name, int inputIndex) const {
    SGDeviceInputName entry;
    bool const fOk = GetDeviceInputName(deviceIndex, entry, inputIndex);
    if (fOk) {
        PStr63Copy(name, entry.name);
    }
    return fOk;
}

bool QSGDeviceList::DeviceHasInputs(InputIterator const& iterator) const {
    std::int16_t count = 0;
    return GetDeviceInputNameCount(iterator.device, count) && count > 0;
}

bool QSGDeviceList::GetDeviceInputNames(InputIterator& iterator) const {
    iterator.deviceName[0] = 0;
    iterator.inputName[0] = 0;
    std::int16_t deviceCount = 0;
    bool fOk;
    VERIFY(fOk = GetDeviceNameCount(deviceCount));
    if (fOk) {
        VERIFY(fOk = iterator.device >= 0);
    }
    if (fOk) {
        // clang-format off
        VERIFY(iterator.device<deviceCount);
        // clang-format on
        fOk = iterator.device < deviceCount;
    }
    std::int16_t deviceInputNameCount = 0;
    if (fOk) {
        VERIFY(fOk = GetDeviceInputNameCount(iterator.device, deviceInputNameCount));
    }
    if (fOk) {
        VERIFY(fOk = iterator.input >= 0);
    }
    if (fOk) {
        // clang-format off
        VERIFY(iterator.input<deviceInputNameCount);
        // clang-format on
        fOk = iterator.input < deviceInputNameCount;
    }
    if (fOk) {
        fOk = GetDeviceName(iterator.deviceName, iterator.device) &&
              GetDeviceInputName(iterator.device, iterator.inputName, iterator.input);
    }
    return fOk;
}

bool QSGDeviceList::FillNames(InputIterator& iterator) const {
    bool fOk;
    // clang-format off
    VERIFY(fOk=GetDeviceInputNames(iterator));
    // clang-format on
    return fOk;
}

bool QSGDeviceList::GetFirstDeviceInput(InputIterator& iterator) const {
    iterator.EmptyInput();
    std::int16_t count = 0;
    return GetDeviceInputNameCount(iterator.device, count) && count > 0;
}

bool QSGDeviceList::GetLastDeviceInput(InputIterator& iterator) const {
    iterator.EmptyInput();
    std::int16_t count = 0;
    if (!GetDeviceInputNameCount(iterator.device, count) || count < 1) {
        return false;
    }
    iterator.input = static_cast<std::int16_t>(count - 1);
    return true;
}

bool QSGDeviceList::GetNextDeviceInput(InputIterator& iterator) const {
    std::int16_t count = 0;
    if (!GetDeviceInputNameCount(iterator.device, count)) {
        return false;
    }
    ++iterator.input;
    return iterator.input < count;
}

bool QSGDeviceList::GetPrevDeviceInput(InputIterator& iterator) const {
    if (iterator.input < 1) {
        return false;
    }
    --iterator.input;
    return true;
}

bool QSGDeviceList::GetNextDeviceWithInputs(InputIterator& iterator) const {
    std::int16_t deviceCount = 0;
    if (!GetDeviceNameCount(deviceCount) || deviceCount < 1 || iterator.device >= deviceCount) {
        return false;
    }
    for (;;) {
        ++iterator.device;
        if (iterator.device >= deviceCount) {
            return false;
        }
        if (GetFirstDeviceInput(iterator)) {
            return true;
        }
    }
}

bool QSGDeviceList::GetPrevDeviceWithInputs(InputIterator& iterator) const {
    std::int16_t deviceCount = 0;
    if (!GetDeviceNameCount(deviceCount) || deviceCount < 1 || iterator.device >= deviceCount ||
        iterator.device < 1) {
        return false;
    }
    for (;;) {
        --iterator.device;
        if (iterator.device < 0) {
            return false;
        }
        if (GetLastDeviceInput(iterator)) {
            return true;
        }
    }
}

bool QSGDeviceList::GetFirstInput(InputIterator& iterator) const {
    iterator.Empty();
    std::int16_t deviceCount = 0;
    if (!GetDeviceNameCount(deviceCount) || deviceCount < 1) {
        return false;
    }
    if (GetFirstDeviceInput(iterator)) {
        return FillNames(iterator);
    }
    return GetNextInput(iterator);
}

bool QSGDeviceList::GetLastInput(InputIterator& iterator) const {
    iterator.Empty();
    std::int16_t deviceCount = 0;
    bool fOk;
    VERIFY(fOk = GetDeviceNameCount(deviceCount) && deviceCount >= 1);
    if (!fOk) {
        return false;
    }
    iterator.device = static_cast<std::int16_t>(deviceCount - 1);
    if (DeviceHasInputs(iterator)) {
        // Input 0 of the last device, on purpose (see the header).
        return FillNames(iterator);
    }
    return GetPrevInput(iterator);
}

bool QSGDeviceList::GetNextInput(InputIterator& iterator) const {
    if (GetNextDeviceInput(iterator)) {
        return FillNames(iterator);
    }
    if (!GetNextDeviceWithInputs(iterator)) {
        return false;  // the end of the list: no wrap-around
    }
    return FillNames(iterator);
}

bool QSGDeviceList::GetPrevInput(InputIterator& iterator) const {
    if (GetPrevDeviceInput(iterator)) {
        return FillNames(iterator);
    }
    if (!GetPrevDeviceWithInputs(iterator)) {
        return false;  // the start of the list: no wrap-around
    }
    return FillNames(iterator);
}

bool QSGDeviceList::FindInputNamed(Str63 const name, InputIterator& iterator) const {
    if (!GetFirstInput(iterator)) {
        return false;
    }
    do {
        if (PStr63Equal(name, iterator.inputName)) {
            return true;
        }
    } while (GetNextInput(iterator));
    return false;
}

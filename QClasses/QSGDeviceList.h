#pragma once
// One snapshot of the capture devices and their inputs, and the walk over it. A camera is
// an InputIterator (device index and name, input index and name); the walk order defined
// here (devices ascending, each device's inputs ascending, devices without inputs skipped,
// no wrap-around) is the order of cameras everywhere in the program.

#include <cstdint>

#include "platform/capture/SGTypes.h"

class SGComponent;

class QSGDeviceList {
public:
    class InputIterator {
    public:
        InputIterator() { Empty(); }

        void Empty() {
            EmptyDevice();
            EmptyInput();
        }
        void EmptyDevice() {
            device = 0;
            deviceName[0] = 0;
        }
        void EmptyInput() {
            input = 0;
            inputName[0] = 0;
        }
        bool IsEmpty() const { return IsDeviceEmpty(); }
        bool IsDeviceEmpty() const { return device == 0 && deviceName[0] == 0; }
        bool IsInputEmpty() const { return input == 0 && inputName[0] == 0; }
        // Both indices equal and both names equal byte for byte, length byte included.
        bool operator==(InputIterator const& other) const {
            return device == other.device && input == other.input &&
                   PStr63Equal(deviceName, other.deviceName) &&
                   PStr63Equal(inputName, other.inputName);
        }

        // "Camera Device[0]:'name' Input[1]:'name' \n" in one buffer shared by every
        // iterator, overwritten by the next call.
        char const* GetNameForUI() const;
        void CoreDebugLog(char const* label) const;

        std::int16_t device;
        Str63 deviceName;
        std::int16_t input;
        Str63 inputName;
    };

    QSGDeviceList() = default;
    QSGDeviceList(QSGDeviceList const&) = delete;
    QSGDeviceList& operator=(QSGDeviceList const&) = delete;

    // Both the list and the component it came from are there.
    bool IsValid() const { return mDeviceList != nullptr && mComponent != nullptr; }
    // Takes `list`, produced by `component`, to walk.
    void Adopt(SGComponent* component, SGDeviceList list);

    bool GetDeviceNameCount(std::int16_t& count) const;
    bool IsValidDevice(int deviceIndex) const;
    bool IsValidDevice(InputIterator const& iterator) const;
    bool GetDeviceName(SGDeviceName& name, int deviceIndex) const;
    bool GetDeviceName(Str63 name, int deviceIndex) const;
    // Succeeds with 0 for a device that has no input list.
    bool GetDeviceInputNameCount(int deviceIndex, std::int16_t& count) const;
    // The device is valid and has at least one input (the input index is not looked at).
    bool IsValidDeviceInput(InputIterator const& iterator) const;
    bool GetDeviceInputName(int deviceIndex, SGDeviceInputName& name, int inputIndex) const;
    bool GetDeviceInputName(int deviceIndex, Str63 name, int inputIndex) const;
    bool DeviceHasInputs(InputIterator const& iterator) const;
    // Fills both names from the indices; the only step that sets names.
    bool GetDeviceInputNames(InputIterator& iterator) const;

    // Steps within and between devices. On failure the iterator holds whatever the last
    // step reached and is not to be used.
    bool GetFirstDeviceInput(InputIterator& iterator) const;
    bool GetLastDeviceInput(InputIterator& iterator) const;
    bool GetNextDeviceInput(InputIterator& iterator) const;
    bool GetPrevDeviceInput(InputIterator& iterator) const;
    bool GetNextDeviceWithInputs(InputIterator& iterator) const;
    bool GetPrevDeviceWithInputs(InputIterator& iterator) const;

    // The walk over cameras.
    bool GetFirstInput(InputIterator& iterator) const;
    // Lands on input 0 of the last device that has inputs, not on its last input, so a
    // following GetNextInput still steps through that device's other inputs.
    bool GetLastInput(InputIterator& iterator) const;
    bool GetNextInput(InputIterator& iterator) const;
    bool GetPrevInput(InputIterator& iterator) const;
    // The first camera in walk order whose input name is `name` (exact, case-sensitive).
    bool FindInputNamed(Str63 const name, InputIterator& iterator) const;

    SGDeviceList mDeviceList;
    SGComponent* mComponent = nullptr;  // the component that produced the list

private:
    bool FillNames(InputIterator& iterator) const;  // GetDeviceInputNames, logged
};

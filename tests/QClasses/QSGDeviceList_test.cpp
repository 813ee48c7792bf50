// The walk over cameras on device lists built for the purpose: skipped devices, no
// wrap-around, GetLastInput landing on input 0 of the last device, exact name matching.

#include "QClasses/QSGDeviceList.h"

#include <optional>

#include <gtest/gtest.h>

#include "platform/capture/SGComponent.h"
#include "tests/support/TestLogCapture.h"

namespace {

using Camera = QSGDeviceList::InputIterator;

struct DeviceSpec {
    char const* name;
    std::optional<std::vector<char const*>> inputs;  // none: the device has no input list
};

class DeviceListTest : public ::testing::Test {
protected:
    // Fills `list` with the devices as given; the component only has to exist.
    void Build(QSGDeviceList& list, std::vector<DeviceSpec> const& devices) {
        auto record = std::make_unique<SGDeviceListRecord>();
        for (DeviceSpec const& spec : devices) {
            SGDeviceName device;
            PStr63FromCString(spec.name, device.name);
            if (spec.inputs) {
                auto inputs = std::make_shared<SGDeviceInputListRecord>();
                for (char const* input : *spec.inputs) {
                    SGDeviceInputName entry;
                    PStr63FromCString(input, entry.name);
                    inputs->entry.push_back(entry);
                }
                device.inputs = inputs;
            }
            record->entry.push_back(device);
        }
        list.Adopt(&mComponent, std::move(record));
    }

    static std::string Text(Camera const& camera) {
        return std::to_string(camera.device) + ":" + PStr63ToString(camera.deviceName) + "/" +
               std::to_string(camera.input) + ":" + PStr63ToString(camera.inputName);
    }

    SGComponent mComponent;
};

TEST_F(DeviceListTest, DevicesWithoutInputsAreSkipped) {
    QSGDeviceList list;
    Build(list, {{"Empty", std::vector<char const*>{}},
                 {"None", std::nullopt},
                 {"Cam", std::vector<char const*>{"c0", "c1"}},
                 {"Tail", std::nullopt}});
    Camera camera;
    ASSERT_TRUE(list.GetFirstInput(camera));
    EXPECT_EQ(Text(camera), "2:Cam/0:c0");
    ASSERT_TRUE(list.GetNextInput(camera));
    EXPECT_EQ(Text(camera), "2:Cam/1:c1");
    EXPECT_FALSE(list.GetNextInput(camera));  // no wrap-around

    // The last device has no inputs: the last input of the nearest earlier one.
    ASSERT_TRUE(list.GetLastInput(camera));
    EXPECT_EQ(Text(camera), "2:Cam/1:c1");
    ASSERT_TRUE(list.GetPrevInput(camera));
    EXPECT_EQ(Text(camera), "2:Cam/0:c0");
    EXPECT_FALSE(list.GetPrevInput(camera));

    std::int16_t count = -1;
    EXPECT_TRUE(list.GetDeviceInputNameCount(1, count));  // a null input list is 0 inputs
    EXPECT_EQ(count, 0);
    Camera none;
    none.device = 1;
    EXPECT_FALSE(list.DeviceHasInputs(none));
    EXPECT_FALSE(list.IsValidDeviceInput(none));
}

TEST_F(DeviceListTest, LastInputIsInputZeroOfTheLastDevice) {
    QSGDeviceList list;
    Build(list, {{"A", std::vector<char const*>{"a0", "a1"}},
                 {"B", std::vector<char const*>{"b0", "b1"}}});
    Camera camera;
    ASSERT_TRUE(list.GetLastInput(camera));
    EXPECT_EQ(Text(camera), "1:B/0:b0");
    ASSERT_TRUE(list.GetNextInput(camera));
    EXPECT_EQ(Text(camera), "1:B/1:b1");
    EXPECT_FALSE(list.GetNextInput(camera));

    ASSERT_TRUE(list.GetLastInput(camera));
    ASSERT_TRUE(list.GetPrevInput(camera));
    EXPECT_EQ(Text(camera), "0:A/1:a1");
    ASSERT_TRUE(list.GetPrevInput(camera));
    EXPECT_EQ(Text(camera), "0:A/0:a0");
    EXPECT_FALSE(list.GetPrevInput(camera));

    // The whole walk forward.
    std::vector<std::string> walk;
    for (bool fOk = list.GetFirstInput(camera); fOk; fOk = list.GetNextInput(camera)) {
        walk.push_back(Text(camera));
    }
    EXPECT_EQ(walk, (std::vector<std::string>{"0:A/0:a0", "0:A/1:a1", "1:B/0:b0", "1:B/1:b1"}));
}

TEST_F(DeviceListTest, ListsWithoutCameras) {
    QSGDeviceList noInputs;
    Build(noInputs, {{"A", std::nullopt}, {"B", std::vector<char const*>{}}});
    Camera camera;
    EXPECT_FALSE(noInputs.GetFirstInput(camera));
    EXPECT_FALSE(noInputs.GetLastInput(camera));

    QSGDeviceList noDevices;
    Build(noDevices, {});
    EXPECT_FALSE(noDevices.GetFirstInput(camera));
    EXPECT_FALSE(noDevices.GetLastInput(camera));

    // A list that was never fetched fails every query, and says why.
    TestLogCapture log;
    QSGDeviceList invalid;
    std::int16_t count = 0;
    EXPECT_FALSE(invalid.IsValid());
    EXPECT_FALSE(invalid.GetDeviceNameCount(count));
    EXPECT_FALSE(invalid.GetFirstInput(camera));
    EXPECT_TRUE(log.Contains(" code : IsValid()"));
}

TEST_F(DeviceListTest, FindInputNamedIsExactAndFirstInWalkOrder) {
    QSGDeviceList list;
    Build(list, {{"A", std::vector<char const*>{"Front", "Side"}},
                 {"B", std::vector<char const*>{"Side", "Back"}}});
    Camera camera;
    Str63 name;
    PStr63FromCString("Side", name);
    ASSERT_TRUE(list.FindInputNamed(name, camera));
    EXPECT_EQ(Text(camera), "0:A/1:Side");
    PStr63FromCString("Back", name);
    ASSERT_TRUE(list.FindInputNamed(name, camera));
    EXPECT_EQ(Text(camera), "1:B/1:Back");
    PStr63FromCString("back", name);
    EXPECT_FALSE(list.FindInputNamed(name, camera));
    PStr63FromCString("Bac", name);
    EXPECT_FALSE(list.FindInputNamed(name, camera));
    PStr63FromCString("A", name);  // device names are not inputs
    EXPECT_FALSE(list.FindInputNamed(name, camera));
}

TEST_F(DeviceListTest, InputQueriesCheckTheirIndices) {
    QSGDeviceList list;
    Build(list, {{"A", std::vector<char const*>{"a0"}}});
    TestLogCapture log;
    SGDeviceInputName input;
    EXPECT_TRUE(list.GetDeviceInputName(0, input, 0));
    EXPECT_FALSE(list.GetDeviceInputName(0, input, 1));
    EXPECT_TRUE(log.Contains(" code : in_deviceNameIndex<deviceInputNameCount"));
    EXPECT_FALSE(list.GetDeviceInputName(1, input, 0));
    EXPECT_FALSE(list.IsValidDevice(-1));
    EXPECT_FALSE(list.IsValidDevice(1));

    Camera camera;
    camera.device = 1;
    EXPECT_FALSE(list.GetDeviceInputNames(camera));
    EXPECT_TRUE(log.Contains(" code : iterator.device<deviceCount"));
    EXPECT_EQ(camera.deviceName[0], 0);

    // A failed step leaves the iterator where it stopped.
    camera.device = 0;
    camera.input = 0;
    EXPECT_FALSE(list.GetNextDeviceInput(camera));
    EXPECT_EQ(camera.input, 1);
    EXPECT_FALSE(list.GetNextDeviceWithInputs(camera));
    EXPECT_FALSE(list.GetPrevDeviceWithInputs(camera));  // already device 0
}

TEST(InputIterator, EmptinessAndEquality) {
    Camera a;
    EXPECT_TRUE(a.IsEmpty());
    EXPECT_TRUE(a.IsInputEmpty());
    PStr63FromCString("Cam", a.deviceName);
    EXPECT_FALSE(a.IsDeviceEmpty());  // device 0 with a name is a device
    a.input = 1;
    EXPECT_FALSE(a.IsInputEmpty());

    Camera b = a;
    EXPECT_TRUE(a == b);
    PStr63FromCString("cam", b.deviceName);
    EXPECT_FALSE(a == b);  // same indices, other name
    b = a;
    PStr63FromCString("Cam ", b.deviceName);
    EXPECT_FALSE(a == b);
    b = a;
    b.input = 2;
    EXPECT_FALSE(a == b);
    b.EmptyInput();
    EXPECT_FALSE(b.IsDeviceEmpty());
    EXPECT_TRUE(b.IsInputEmpty());

    PStr63FromCString("Left", a.inputName);
    EXPECT_STREQ(a.GetNameForUI(), "Camera Device[0]:'Cam' Input[1]:'Left' \n");
    TestLogCapture log;
    a.CoreDebugLog("Here");
    EXPECT_EQ(log.Lines(),
              "QSGDeviceList::InputIterator Here:Camera Device[0]:'Cam' Input[1]:'Left' \n\n");
}

}  // namespace

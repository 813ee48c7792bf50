// The walk over cameras on device lists built for the purpose: skipped devices, no
// wrap-around, GetLastInput landing on input 0 of the last device, exact name matching.

#include "QClasses/QSGDeviceList.h"

#include <optional>

#include <gtest/gtest.h>

#include "platform/capture/SGComponent.h"
#include "tests/support/TestLogCapture.h"

namespace {

using Camera = QSGDeviceList::InputIterator;
using Inputs = std::optional<std::vector<char const*>>;  // none: the device has no input list
using Texts = std::vector<std::string>;

class DeviceListTest : public ::testing::Test {
protected:
    // Fills `list` with the devices as given; the component only has to exist.
    void Build(QSGDeviceList& list, std::vector<std::pair<char const*, Inputs>> const& devices) {
        auto record = std::make_unique<SGDeviceListRecord>();
        for (auto const& [name, inputs] : devices) {
            SGDeviceName device;
            PStr63FromCString(name, device.name);
            if (inputs) {
                auto list = std::make_shared<SGDeviceInputListRecord>();
                for (char const* input : *inputs) {
                    PStr63FromCString(input, list->entry.emplace_back().name);
                }
                device.inputs = list;
            }
            record->entry.push_back(device);
        }
        list.Adopt(&mComponent, std::move(record));
    }

    static std::string Text(Camera const& camera) {
        return std::to_string(camera.device) + ":" + PStr63ToString(camera.deviceName) + "/" +
               std::to_string(camera.input) + ":" + PStr63ToString(camera.inputName);
    }

    // Every camera met from the first input stepping forward, or from the last stepping back.
    static Texts Walk(QSGDeviceList& list, bool fBack) {
        Texts walk;
        Camera camera;
        for (bool fOk = fBack ? list.GetLastInput(camera) : list.GetFirstInput(camera); fOk;
             fOk = fBack ? list.GetPrevInput(camera) : list.GetNextInput(camera)) {
            walk.push_back(Text(camera));
        }
        return walk;
    }

    SGComponent mComponent;
};

TEST_F(DeviceListTest, WalksSkipDevicesWithoutInputsAndStopAtTheEnds) {
    struct Case {
        std::vector<std::pair<char const*, Inputs>> devices;
        Texts forward, lastThenBack;
    };
    Inputs const none;
    Case const cases[] = {
        // The last device has no inputs: "last" is the last input of the nearest earlier one.
        {{{"Empty", Inputs{std::vector<char const*>{}}}, {"None", none}, {"Cam", Inputs{{"c0", "c1"}}}, {"Tail", none}},
         {"2:Cam/0:c0", "2:Cam/1:c1"},
         {"2:Cam/1:c1", "2:Cam/0:c0"}},
        // Otherwise "last" is input 0 of the last device.
        {{{"A", Inputs{{"a0", "a1"}}}, {"B", Inputs{{"b0", "b1"}}}},
         {"0:A/0:a0", "0:A/1:a1", "1:B/0:b0", "1:B/1:b1"},
         {"1:B/0:b0", "0:A/1:a1", "0:A/0:a0"}},
        {{{"A", none}, {"B", Inputs{std::vector<char const*>{}}}}, {}, {}},
    };
    for (Case const& c : cases) {
        QSGDeviceList list;
        Build(list, c.devices);
        EXPECT_EQ(Walk(list, false), c.forward);
        EXPECT_EQ(Walk(list, true), c.lastThenBack);
    }

    QSGDeviceList list;
    Build(list, cases[0].devices);
    Camera noInputs;
    noInputs.device = 1;
    EXPECT_FALSE(list.IsValidDeviceInput(noInputs));

    // A list that was never fetched fails every query, and says why.
    TestLogCapture log;
    QSGDeviceList invalid;
    Camera camera;
    std::int16_t count = -1;
    EXPECT_FALSE(invalid.IsValid());
    EXPECT_FALSE(invalid.GetDeviceNameCount(count));
    EXPECT_FALSE(invalid.GetFirstInput(camera));
    EXPECT_TRUE(log.Contains(" code : IsValid()"));
}

TEST_F(DeviceListTest, FindInputNamedIsExactAndFirstInWalkOrder) {
    QSGDeviceList list;
    Build(list, {{"A", Inputs{{"Front", "Side"}}}, {"B", Inputs{{"Side", "Back"}}}});
    // Device names are not inputs; case and length must match.
    for (auto const& [name, found] : std::vector<std::pair<char const*, char const*>>{
             {"Side", "0:A/1:Side"}, {"Back", "1:B/1:Back"}, {"back", ""}, {"Bac", ""}, {"A", ""}}) {
        Camera camera;
        Str63 text;
        PStr63FromCString(name, text);
        EXPECT_EQ(list.FindInputNamed(text, camera) ? Text(camera) : "", found) << name;
    }
}

TEST_F(DeviceListTest, InputQueriesCheckTheirIndices) {
    QSGDeviceList list;
    Build(list, {{"A", Inputs{{"a0"}}}});
    TestLogCapture log;
    SGDeviceInputName input;
    EXPECT_TRUE(list.GetDeviceInputName(0, input, 0));
    EXPECT_FALSE(list.GetDeviceInputName(0, input, 1));
    EXPECT_TRUE(log.Contains(" code : in_deviceNameIndex<deviceInputNameCount"));
    EXPECT_FALSE(list.GetDeviceInputName(1, input, 0));
    EXPECT_FALSE(list.IsValidDevice(-1));

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
}

// Same indices with another name (case, a trailing space) or another input differ.
TEST(InputIterator, EqualityTakesTheNamesExactly) {
    Camera a;
    PStr63FromCString("Cam", a.deviceName);
    a.input = 1;
    EXPECT_TRUE(a == Camera(a));
    for (auto const& [name, input] : {std::pair{"cam", 1}, {"Cam ", 1}, {"Cam", 2}}) {
        Camera b = a;
        PStr63FromCString(name, b.deviceName);
        b.input = input;
        EXPECT_FALSE(a == b) << name << input;
    }
}

}  // namespace

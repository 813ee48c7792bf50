// Parameter mapping: the table walk, the five passes, the colour conversions the settings use;
// the typed stored defaults.

#include "CocoaX/ParamMapping.h"

#include <clocale>
#include <vector>

#include <QLocale>

#include <gtest/gtest.h>

#include "CocoaX/NSUserDefaults.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/support/TestLogCapture.h"

namespace {

// A control that remembers what it was given, in order.
struct Recorder : ParamControl {
    explicit Recorder(std::vector<int>* order = nullptr, int id = 0) : order(order), id(id) {}
    std::vector<int>* order;
    int id;
    int value = 0;
    QColor color = Qt::black;
    int intValue() const override { return value; }
    void setIntValue(int v) override {
        value = v;
        if (order != nullptr) {
            order->push_back(id);
        }
    }
    QColor colorValue() const override { return color; }
    void setColorValue(QColor const& c) override { color = c; }
};

TEST(ParamMappingTest, LookupsWalkToTheTerminatingRowAndPassesApplyInOrder) {
    std::vector<int> order;
    Recorder late(&order, 4), early(&order, 0), readOnly(&order, 9);
    using namespace ParamConvert;
    tagParamMapItem items[] = {
        {kParamReadWrite, 4, "zLate", nullptr, GetInt, SetInt, nullptr},
        {kParamReadWrite, 0, "aEarly", nullptr, GetInt, SetInt, nullptr},
        {kParamReadOnly, 0, "fixed", nullptr, GetInt, SetInt, nullptr},
        {kParamWriteOnly, 1, "secret", nullptr, GetWriteOnly, SetInt, nullptr},
        {},
    };
    ParamMapping mapping(items);
    ASSERT_EQ(mapping.count(), 4);
    mapping.SetParamControl("ZLATE", &late);  // names compare without case
    mapping.SetParamControl("aEarly", &early);
    mapping.SetParamControl("fixed", &readOnly);
    EXPECT_EQ(&mapping.ParamFromName("nobody"), &items[4]) << "the terminating row answers";
    EXPECT_EQ(&mapping.ParamFromIndex(99), &items[4]);
    EXPECT_EQ(&mapping.ConstParamFromControl(nullptr), &ParamMapping::BadItem());

    QVariantMap const values{{"zLate", 7}, {"aEarly", 3}, {"fixed", 5}, {"nobody", 1}};
    mapping.SetControlValuesFromDictionary(&values);
    EXPECT_EQ(order, (std::vector<int>{0, 4})) << "pass 0 first, whatever the key order";
    EXPECT_EQ(readOnly.value, 0) << "read-only rows are never set";

    QVariantMap out;
    mapping.AddParamsToDictionary(out);
    EXPECT_EQ(out, (QVariantMap{{"zLate", 7}, {"aEarly", 3}, {"fixed", 0}}));
    QVariantMap prefixed;
    mapping.AddParamsWithPrefixToDictionary(&prefixed, "A");
    EXPECT_EQ(prefixed, (QVariantMap{{"aEarly", 3}}));
}

TEST(ParamMappingTest, ConversionsReadAndWriteTheSameTextUnderEveryLocale) {
    // A comma-decimal locale, where the C library has one; Qt's default locale always.
    char const* const saved = std::setlocale(LC_NUMERIC, nullptr);
    std::string const savedLocale = saved != nullptr ? saved : "C";
    std::setlocale(LC_NUMERIC, "de_DE.UTF-8");
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));

    // The colour well's text as the settings keep it, and its exact value read back.
    using namespace ParamConvert;
    Recorder control;
    control.color = QColor::fromRgbF(0.0f, 0.5f, 0.96f);
    EXPECT_EQ(GetColor3(control).toString(), "rgb(0.0,0.5,1.0)");
    SetColorExact(control, "#336699");
    EXPECT_EQ(GetColorExact(control).toString(), "#336699") << "kept to the 8-bit value";

    QLocale::setDefault(QLocale::c());
    std::setlocale(LC_NUMERIC, savedLocale.c_str());
}

TEST(StoredDefaultsTest, AValueOfTheOtherKindOrNoKeyGivesTheFallback) {
    TestLogCapture log;
    UserDefaults::standard().setString("kindTest", "12");
    NSUserDefaultSave(3, "kindNumber");
    EXPECT_EQ(NSUserDefaultLoadKind<double>("kindTest", -1.0), -1.0);
    EXPECT_EQ(NSUserDefaultLoadKind<QString>("kindTest", "x"), "12");
    EXPECT_EQ(NSUserDefaultLoadKind<double>("kindNumber", -1.0), 3.0);
    EXPECT_EQ(NSUserDefaultLoadKind<QString>("kindNumber", "x"), "x");
    EXPECT_EQ(NSUserDefaultLoadKind<double>(nullptr, -2.0), -2.0);
    EXPECT_TRUE(log.Contains("inValueName")) << log.Lines();
}

}  // namespace

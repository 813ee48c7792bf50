// Parameter mapping: the table walk, the five passes, the control conversions and the
// colour lock; the typed stored defaults.

#include <clocale>
#include <vector>

#include <QLocale>

#include <gtest/gtest.h>

#include "CocoaX/NSUserDefaults.h"
#include "CocoaX/ParamMapping.h"
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

    using namespace ParamConvert;
    Recorder control;
    struct BoolCase {
        int value;
        char const* text;
    };
    for (BoolCase const c : {BoolCase{1, "true"}, BoolCase{256, "false"}, BoolCase{257, "true"}}) {
        control.value = c.value;
        EXPECT_EQ(GetBool(control).toString(), c.text) << c.value;
    }
    SetBool(control, "TRUE");
    EXPECT_EQ(control.value, 1);
    SetBool(control, QVariant());
    EXPECT_EQ(control.value, 0);

    control.color = QColor::fromRgbF(1, 1, 1);
    EXPECT_EQ(GetColor3(control).toString(), "rgb(1.0,1.0,1.0)");
    control.color = QColor::fromRgbF(0.0f, 0.5f, 0.96f, 0.5f);
    EXPECT_EQ(GetColor4(control).toString(), "rgba(0.0,0.5,1.0,0.5)");

    struct ColorCase {
        bool locked;
        bool fourComponents;
        char const* text;
        QColor before;
        QColor after;
    };
    QColor const red = QColor::fromRgbF(1, 0, 0);
    ColorCase const cases[] = {
        {false, false, "rgb(0.5,0.25,1.0)", red, QColor::fromRgbF(0.5f, 0.25f, 1.0f)},
        {false, false, "rgb(0.5)", red, QColor::fromRgbF(0.5f, 0, 0)},  // unparsed stay 0
        {false, true, "rgba(0.5,0.5,0.5)", red, QColor::fromRgbF(0.5f, 0.5f, 0.5f, 1.0f)},
        {true, false, "rgb(0.5,0.5,0.5)", red, red},
        {true, true, "rgba(0.5,0.5,0.5,0.25)", red, QColor::fromRgbF(1, 0, 0, 0.25f)},
    };
    for (ColorCase const& c : cases) {
        setColorParamsLocked(c.locked);
        control.color = c.before;
        (c.fourComponents ? SetColor4 : SetColor3)(control, QString::fromLatin1(c.text));
        EXPECT_EQ(control.color.rgba(), c.after.rgba()) << c.text;
    }
    setColorParamsLocked(false);
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

#pragma once
// Parameter mapping: a static table ties parameter names to controls and to the pair of
// operations that read and write a control's value as an object (a QVariant), so a set of
// controls can be turned into a name-to-value dictionary and back. Controls take part
// through the small ParamControl interface, which keeps this module free of widgets.

#include <cstdint>

#include <QColor>
#include <QString>
#include <QVariant>
#include <QVariantMap>

// What a control offers to the mapping. Each control implements the values it has; the
// others read as 0 (or nothing) and ignore writes.
class ParamControl {
public:
    virtual ~ParamControl() = default;

    virtual int intValue() const { return 0; }
    virtual void setIntValue(int) {}
    virtual double floatValue() const { return intValue(); }
    virtual void setFloatValue(double value) { setIntValue(static_cast<int>(value)); }
    // Colour wells: the colour, components in 0..1.
    virtual QColor colorValue() const { return {}; }
    virtual void setColorValue(QColor const&) {}
    // Image views: the name of the shown image; false when no image has that name.
    virtual QString imageName() const { return {}; }
    virtual bool setImageNamed(QString const&) { return false; }
    // Colour-scheme controls.
    virtual int colorScheme() const { return 0; }
    virtual void setColorScheme(int) {}
};

using ParamGetValue = QVariant (*)(ParamControl& control);
using ParamSetValue = void (*)(ParamControl& control, QVariant const& value);

enum : uint32_t {
    kParamReadOnly = 1,   // never set from a dictionary
    kParamWriteOnly = 2,  // never read into a dictionary
    kParamReadWrite = 3,
};

// One row of a table; a table ends with a row whose name is null.
struct tagParamMapItem {
    uint32_t kind = kParamReadWrite;
    uint32_t pass = 0;  // 0..4: the pass in which a dictionary sets it
    char const* paramName = nullptr;  // compared without regard to case
    ParamControl* paramControl = nullptr;
    ParamGetValue selGetValue = nullptr;
    ParamSetValue selSetValue = nullptr;
    void const* mapperClass = nullptr;
};

class ParamMapping {
public:
    explicit ParamMapping(tagParamMapItem* items = nullptr) { SetItems(items); }

    // Keeps the table (not owned) and counts its named rows.
    void SetItems(tagParamMapItem* items);
    // The index of the terminating row: the number of named rows.
    int count() const { return mCount; }

    // Every lookup walks rows 0..count inclusive, the terminating row too: a name that no
    // named row matches finds the terminating row (it has no name, which compares equal).
    tagParamMapItem& ParamFromIndex(int index) const;
    tagParamMapItem& ParamFromName(char const* inParamName) const;
    tagParamMapItem const& ConstParamFromName(char const* inParamName) const;
    tagParamMapItem const& ConstParamFromControl(ParamControl const* inParamControl) const;
    char const* FindParamName(ParamControl const* control) const;
    ParamControl* FindParamControl(char const* name) const;
    void SetParamControl(char const* name, ParamControl* inParamControl);

    static QVariant FindParamItemValue(tagParamMapItem const& item);
    QVariant GetParamValue(char const* name) const;
    void AddParamsToDictionary(QVariantMap& dictionary) const;
    void AddParamsWithPrefixToDictionary(QVariantMap* dictionary, char const* prefix) const;
    // Sets the controls from the dictionary in five passes (0 to 4), whatever the order of
    // its keys, so that a control can take its value before another that depends on it.
    void SetControlValuesFromDictionary(QVariantMap const* dictionary) const;

    // What lookups return for a missing name or control.
    static tagParamMapItem& BadItem();

private:
    tagParamMapItem* mItem = nullptr;
    int mCount = 0;
};

// The conversions between a control's value and an object, usable as a row's operations.
namespace ParamConvert {
QVariant GetInt(ParamControl& control);
void SetInt(ParamControl& control, QVariant const& value);
QVariant GetFloat(ParamControl& control);
void SetFloat(ParamControl& control, QVariant const& value);
// "true" when the low 8 bits of the integer value are not zero, else "false".
QVariant GetBool(ParamControl& control);
void SetBool(ParamControl& control, QVariant const& value);
QVariant GetWriteOnly(ParamControl& control);
void SetReadOnly(ParamControl& control, QVariant const& value);
// "rgb(r,g,b)" with one decimal per component, and "rgba(r,g,b,a)"; always with a decimal
// point, whatever the locale.
QVariant GetColor3(ParamControl& control);
void SetColor3(ParamControl& control, QVariant const& value);
QVariant GetColor4(ParamControl& control);
void SetColor4(ParamControl& control, QVariant const& value);
// "#rrggbb": the colour to the well's own 8-bit precision, for settings kept between runs.
QVariant GetColorExact(ParamControl& control);
void SetColorExact(ParamControl& control, QVariant const& value);
QVariant GetImageName(ParamControl& control);
void SetImageName(ParamControl& control, QVariant const& value);
QVariant GetColorScheme(ParamControl& control);
void SetColorScheme(ParamControl& control, QVariant const& value);

// While locked, colour parameters do not change colours (a 4-component one still sets
// the alpha) nor colour schemes.
void setColorParamsLocked(bool locked);
bool colorParamsLocked();

// Parses up to `count` numbers of "name(a,b,...)" into `out` (C locale); returns how many
// it read. Components after the first that fails keep their value.
int ParseComponents(QByteArray const& text, char const* name, double* out, int count);
}  // namespace ParamConvert

#include "CocoaX/ParamMapping.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <strings.h>

#include "CoreX/CoreMachDebugLog.h"

namespace {

tagParamMapItem sBadParamItem{kParamReadWrite, 2, nullptr, nullptr, nullptr, nullptr, nullptr};
bool sColorParamsLocked = false;

// An absent name compares equal to anything: that is how the terminating row answers names
// no named row has.
bool NamesEqual(char const* a, char const* b) {
    return a == nullptr || b == nullptr || strcasecmp(a, b) == 0;
}

}  // namespace

tagParamMapItem& ParamMapping::BadItem() { return sBadParamItem; }

void ParamMapping::SetItems(tagParamMapItem* items) {
    mItem = items;
    mCount = 0;
    if (items == nullptr) {
        return;
    }
    while (items[mCount].paramName != nullptr && items[mCount].paramName[0] != '\0') {
        ++mCount;
    }
}

tagParamMapItem& ParamMapping::ParamFromIndex(int index) const {
    if (mItem == nullptr) {
        return sBadParamItem;
    }
    return mItem[std::clamp(index, 0, mCount)];
}

tagParamMapItem& ParamMapping::ParamFromName(char const* inParamName) const {
    VERIFY(inParamName);
    if (inParamName == nullptr || mItem == nullptr) {
        return sBadParamItem;
    }
    for (int i = 0; i <= mCount; ++i) {
        if (NamesEqual(mItem[i].paramName, inParamName)) {
            return mItem[i];
        }
    }
    return sBadParamItem;
}

tagParamMapItem const& ParamMapping::ConstParamFromName(char const* inParamName) const {
    return ParamFromName(inParamName);
}

tagParamMapItem const& ParamMapping::ConstParamFromControl(
    ParamControl const* inParamControl) const {
    VERIFY(inParamControl);
    if (inParamControl == nullptr || mItem == nullptr) {
        return sBadParamItem;
    }
    for (int i = 0; i <= mCount; ++i) {
        if (mItem[i].paramControl == inParamControl) {
            return mItem[i];
        }
    }
    return sBadParamItem;
}

char const* ParamMapping::FindParamName(ParamControl const* control) const {
    tagParamMapItem const& mapItem = ConstParamFromControl(control);
    VERIFY(mapItem.paramName);
    return mapItem.paramName;
}

ParamControl* ParamMapping::FindParamControl(char const* name) const {
    tagParamMapItem const& mapItem = ConstParamFromName(name);
    VERIFY(mapItem.paramControl);
    return mapItem.paramControl;
}

void ParamMapping::SetParamControl(char const* name, ParamControl* inParamControl) {
    VERIFY(inParamControl);
    tagParamMapItem& item = ParamFromName(name);
    VERIFY(&item != &sBadParamItem);
    if (inParamControl != nullptr && &item != &sBadParamItem) {
        item.paramControl = inParamControl;
    }
}

QVariant ParamMapping::FindParamItemValue(tagParamMapItem const& item) {
    if (item.kind == kParamWriteOnly) {
        return {};
    }
    tagParamMapItem const& mapItem = item;
    VERIFY(mapItem.paramName);
    VERIFY(mapItem.paramControl);
    VERIFY(mapItem.selGetValue);
    if (mapItem.paramName == nullptr || mapItem.paramControl == nullptr ||
        mapItem.selGetValue == nullptr) {
        return {};
    }
    return mapItem.selGetValue(*mapItem.paramControl);
}

QVariant ParamMapping::GetParamValue(char const* name) const {
    return FindParamItemValue(ConstParamFromName(name));
}

void ParamMapping::AddParamsToDictionary(QVariantMap& dictionary) const {
    for (int i = 0; i <= mCount && mItem != nullptr; ++i) {
        tagParamMapItem const& item = mItem[i];
        if (i == mCount) {
            break;  // the terminating row has neither name nor value to add
        }
        QVariant const value = FindParamItemValue(item);
        if (value.isValid()) {
            VERIFY(item.paramName);
            if (item.paramName != nullptr) {
                dictionary.insert(QString::fromUtf8(item.paramName), value);
            }
        }
    }
}

void ParamMapping::AddParamsWithPrefixToDictionary(QVariantMap* dictionary,
                                                   char const* prefix) const {
    if (dictionary == nullptr || prefix == nullptr || mItem == nullptr) {
        return;
    }
    size_t const length = std::strlen(prefix);
    for (int i = 0; i < mCount; ++i) {
        tagParamMapItem const& item = mItem[i];
        if (item.kind == kParamWriteOnly || item.paramName == nullptr ||
            item.paramControl == nullptr || strncasecmp(item.paramName, prefix, length) != 0) {
            continue;
        }
        QVariant const value = FindParamItemValue(item);
        if (value.isValid()) {
            dictionary->insert(QString::fromUtf8(item.paramName), value);
        }
    }
}

void ParamMapping::SetControlValuesFromDictionary(QVariantMap const* dictionary) const {
    if (dictionary == nullptr) {
        return;
    }
    VERIFY_TEXT(!dictionary->isEmpty(), "[dictionary count]>0");
    if (dictionary->isEmpty()) {
        return;
    }
    for (uint32_t pass = 0; pass <= 4; ++pass) {
        for (auto entry = dictionary->constBegin(); entry != dictionary->constEnd(); ++entry) {
            QByteArray const name = entry.key().toUtf8();
            tagParamMapItem const& item = ConstParamFromName(name.constData());
            if (item.kind == kParamReadOnly || item.pass != pass) {
                continue;
            }
            if (item.paramControl != nullptr && item.selSetValue != nullptr) {
                QVariant const& paramValue = entry.value();
                VERIFY(paramValue.isValid());
                item.selSetValue(*item.paramControl, paramValue);
            }
        }
    }
}

namespace ParamConvert {

namespace {

// The object as 8-bit text; null (logged) when it is no text.
QByteArray Utf8(QVariant const& value) {
    bool const isText = value.canConvert<QString>() && value.isValid();
    char const* utf8_string = isText ? "" : nullptr;
    VERIFY(utf8_string);
    return isText ? value.toString().toUtf8() : QByteArray();
}

QByteArray Format(double value) {
    char text[32];
    auto const result = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 1);
    return QByteArray(text, static_cast<int>(result.ptr - text));
}

}  // namespace

int ParseComponents(QByteArray const& text, char const* name, double* out, int count) {
    QByteArray const head = QByteArray(name) + '(';
    char const* p = text.constData();
    char const* const end = p + text.size();
    auto skipSpace = [&] {
        while (p < end && (*p == ' ' || *p == '\t')) {
            ++p;
        }
    };
    skipSpace();
    if (!text.mid(static_cast<int>(p - text.constData())).startsWith(head)) {
        return 0;
    }
    p += head.size();
    int parsed = 0;
    while (parsed < count) {
        if (parsed > 0) {
            if (p >= end || *p != ',') {
                break;
            }
            ++p;
        }
        skipSpace();
        if (p < end && *p == '+') {
            ++p;
        }
        double value = 0.0;
        auto const result = std::from_chars(p, end, value);
        if (result.ec != std::errc()) {
            break;
        }
        out[parsed++] = value;
        p = result.ptr;
    }
    return parsed;
}

QVariant GetInt(ParamControl& control) { return control.intValue(); }
void SetInt(ParamControl& control, QVariant const& value) {
    control.setIntValue(value.isValid() ? value.toInt() : 0);
}

QVariant GetFloat(ParamControl& control) { return control.floatValue(); }
void SetFloat(ParamControl& control, QVariant const& value) {
    control.setFloatValue(value.isValid() ? value.toDouble() : 0.0);
}

QVariant GetBool(ParamControl& control) {
    auto const truth = static_cast<uint8_t>(control.intValue() & 0xff);
    return QString::fromLatin1(truth != 0 ? "true" : "false");
}
void SetBool(ParamControl& control, QVariant const& value) {
    QByteArray const text = value.isValid() ? Utf8(value) : QByteArray();
    control.setIntValue(text.compare("true", Qt::CaseInsensitive) == 0 ? 1 : 0);
}

QVariant GetWriteOnly(ParamControl&) { return QString(""); }
void SetReadOnly(ParamControl&, QVariant const&) {}

QVariant GetColor3(ParamControl& control) {
    QColor const color = control.colorValue();
    return QString::fromLatin1("rgb(" + Format(color.redF()) + ',' + Format(color.greenF()) +
                               ',' + Format(color.blueF()) + ')');
}
void SetColor3(ParamControl& control, QVariant const& value) {
    double rgb[3] = {0.0, 0.0, 0.0};
    ParseComponents(Utf8(value), "rgb", rgb, 3);
    if (!sColorParamsLocked) {
        control.setColorValue(QColor::fromRgbF(static_cast<float>(rgb[0]),
                                               static_cast<float>(rgb[1]),
                                               static_cast<float>(rgb[2])));
    }
}

QVariant GetColor4(ParamControl& control) {
    QColor const color = control.colorValue();
    return QString::fromLatin1("rgba(" + Format(color.redF()) + ',' + Format(color.greenF()) +
                               ',' + Format(color.blueF()) + ',' + Format(color.alphaF()) + ')');
}
void SetColor4(ParamControl& control, QVariant const& value) {
    double rgba[4] = {0.0, 0.0, 0.0, 1.0};
    ParseComponents(Utf8(value), "rgba", rgba, 4);
    QColor color = sColorParamsLocked ? control.colorValue()
                                      : QColor::fromRgbF(static_cast<float>(rgba[0]),
                                                         static_cast<float>(rgba[1]),
                                                         static_cast<float>(rgba[2]));
    color.setAlphaF(static_cast<float>(rgba[3]));
    control.setColorValue(color);
}

QVariant GetColorExact(ParamControl& control) { return control.colorValue().name(); }
void SetColorExact(ParamControl& control, QVariant const& value) {
    QColor const color(QString::fromUtf8(Utf8(value)));
    if (color.isValid() && !sColorParamsLocked) {
        control.setColorValue(color);
    }
}

QVariant GetImageName(ParamControl& control) { return control.imageName(); }
void SetImageName(ParamControl& control, QVariant const& value) {
    bool const imageNamed = control.setImageNamed(QString::fromUtf8(Utf8(value)));
    VERIFY(imageNamed);
}

QVariant GetColorScheme(ParamControl& control) { return control.colorScheme(); }
void SetColorScheme(ParamControl& control, QVariant const& value) {
    if (!sColorParamsLocked) {
        control.setColorScheme(value.isValid() ? value.toInt() : 0);
    }
}

void setColorParamsLocked(bool locked) { sColorParamsLocked = locked; }
bool colorParamsLocked() { return sColorParamsLocked; }

}  // namespace ParamConvert

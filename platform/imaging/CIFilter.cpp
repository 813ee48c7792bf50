#include "platform/imaging/CIFilter.h"

#include <map>

#include "CoreX/CoreMachDebugLog.h"
#include "platform/imaging/CIPlugIn.h"

namespace {

struct RegisteredFilter {
    CIFilter::Constructor constructor;
    QVariantMap attributes;
};

std::map<QString, RegisteredFilter>& Registry() {
    static std::map<QString, RegisteredFilter> sRegistry;
    return sRegistry;
}

}  // namespace

std::unique_ptr<CIFilter> CIFilter::filterWithName(QString const& name) {
    CIPlugIn::loadAllPlugIns();
    auto const found = Registry().find(name);
    bool const registered = found != Registry().end();
    VERIFY(registered);
    if (!registered) {
        return nullptr;
    }
    std::unique_ptr<CIFilter> filter = found->second.constructor(name);
    VERIFY(filter != nullptr);
    return filter;
}

void CIFilter::registerFilterName(QString const& name, Constructor constructor,
                                  QVariantMap const& classAttributes) {
    // Built-ins first, so that a program's own filter of the same name replaces them.
    CIPlugIn::loadAllPlugIns();
    VERIFY(constructor != nullptr);
    if (constructor != nullptr) {
        Registry()[name] = RegisteredFilter{std::move(constructor), classAttributes};
    }
}

QStringList CIFilter::filterNames() {
    CIPlugIn::loadAllPlugIns();
    QStringList names;
    for (auto const& entry : Registry()) {
        names << entry.first;
    }
    return names;
}

CIFilter::CIFilter(QString name, QStringList inputKeys)
    : mName(std::move(name)), mInputKeys(std::move(inputKeys)) {}

CIFilter::~CIFilter() = default;

QVariantMap CIFilter::attributes() const {
    auto const found = Registry().find(mName);
    if (found != Registry().end()) {
        return found->second.attributes;
    }
    return QVariantMap{{kCIAttributeFilterName, mName}};
}

void CIFilter::setValue(QVariant const& value, QString const& key) {
    bool const isInput = mInputKeys.contains(key);
    VERIFY(isInput);
    if (!isInput) {
        return;
    }
    if (value.isValid()) {
        mValues.insert(key, value);
    } else {
        mValues.remove(key);
    }
}

void CIFilter::setValue(CIImage const& image, QString const& key) {
    setValue(image.isEmpty() ? QVariant() : QVariant::fromValue(image), key);
}

void CIFilter::setValue(CIColor const& color, QString const& key) {
    setValue(QVariant::fromValue(color), key);
}

void CIFilter::setValue(CIVector const& vector, QString const& key) {
    setValue(QVariant::fromValue(vector), key);
}

void CIFilter::setValue(QTransform const& transform, QString const& key) {
    setValue(QVariant::fromValue(transform), key);
}

QVariant CIFilter::valueForKey(QString const& key) const {
    if (key == kCIOutputImageKey) {
        CIImage const output = outputImage();
        return output.isEmpty() ? QVariant() : QVariant::fromValue(output);
    }
    return mValues.value(key);
}

void CIFilter::setDefaults() {
    QVariantMap const attributeMap = attributes();
    for (QString const& key : mInputKeys) {
        QVariantMap const inputAttributes = attributeMap.value(key).toMap();
        if (inputAttributes.contains(kCIAttributeDefault)) {
            setValue(inputAttributes.value(kCIAttributeDefault), key);
        }
    }
}

QVariant CIFilter::inputValue(QString const& key) const {
    auto const found = mValues.find(key);
    if (found != mValues.end()) {
        return found.value();
    }
    return attributes().value(key).toMap().value(kCIAttributeDefault);
}

CIImage CIFilter::imageForKey(QString const& key) const { return inputValue(key).value<CIImage>(); }

double CIFilter::numberForKey(QString const& key) const { return inputValue(key).toDouble(); }

CIColor CIFilter::colorForKey(QString const& key) const { return inputValue(key).value<CIColor>(); }

CIVector CIFilter::vectorForKey(QString const& key) const {
    return inputValue(key).value<CIVector>();
}

QTransform CIFilter::transformForKey(QString const& key) const {
    return inputValue(key).value<QTransform>();
}

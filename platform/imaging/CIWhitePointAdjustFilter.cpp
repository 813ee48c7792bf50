#include "platform/imaging/CIWhitePointAdjustFilter.h"

#include <algorithm>

#include "platform/imaging/CIColorMap.h"

CIWhitePointAdjustFilter::CIWhitePointAdjustFilter()
    : CIFilter(kName, {kCIInputImageKey, kInputColorKey}) {}

QVariantMap CIWhitePointAdjustFilter::classAttributes() {
    QVariant const white = QVariant::fromValue(CIColor::colorWithRed(1.0, 1.0, 1.0));
    return {
        {kCIAttributeFilterName, kName},
        {kCIAttributeFilterDisplayName, "White Point Adjust"},
        {kCIAttributeFilterCategories, QStringList{kCICategoryColorAdjustment, kCICategoryVideo,
                                                   kCICategoryStillImage, kCICategoryBuiltIn}},
        {kCIInputImageKey, QVariantMap{{kCIAttributeClass, kCIClassImage}}},
        {kInputColorKey, QVariantMap{{kCIAttributeClass, kCIClassColor},
                                     {kCIAttributeType, kCIAttributeTypeOpaqueColor},
                                     {kCIAttributeDefault, white},
                                     {kCIAttributeIdentity, white}}},
    };
}

CIImage CIWhitePointAdjustFilter::outputImage() const {
    CIColor const white = colorForKey(kInputColorKey);
    auto const gain = [](double component) {
        return 1.0 / CISRGBToLinear(std::clamp(component, 1.0 / 255.0, 1.0));
    };
    return imageForKey(kCIInputImageKey)
        .imageByApplyingColorMap(
            CIColorMap::linearGain(gain(white.red()), gain(white.green()), gain(white.blue())));
}

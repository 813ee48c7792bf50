#include "platform/imaging/CIExposureAdjustFilter.h"

#include <cmath>

#include "platform/imaging/CIColorMap.h"

CIExposureAdjustFilter::CIExposureAdjustFilter()
    : CIFilter(kName, {kCIInputImageKey, kInputEVKey}) {}

QVariantMap CIExposureAdjustFilter::classAttributes() {
    return {
        {kCIAttributeFilterName, kName},
        {kCIAttributeFilterDisplayName, "Exposure Adjust"},
        {kCIAttributeFilterCategories, QStringList{kCICategoryColorAdjustment, kCICategoryVideo,
                                                   kCICategoryStillImage, kCICategoryBuiltIn}},
        {kCIInputImageKey, QVariantMap{{kCIAttributeClass, kCIClassImage}}},
        {kInputEVKey, QVariantMap{{kCIAttributeClass, kCIClassNumber},
                                  {kCIAttributeType, kCIAttributeTypeScalar},
                                  {kCIAttributeSliderMin, -10.0},
                                  {kCIAttributeSliderMax, 10.0},
                                  {kCIAttributeDefault, 0.0},
                                  {kCIAttributeIdentity, 0.0}}},
    };
}

CIImage CIExposureAdjustFilter::outputImage() const {
    double const gain = std::exp2(numberForKey(kInputEVKey));
    return imageForKey(kCIInputImageKey)
        .imageByApplyingColorMap(CIColorMap::linearGain(gain, gain, gain));
}

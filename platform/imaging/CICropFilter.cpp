#include "platform/imaging/CICropFilter.h"

CICropFilter::CICropFilter() : CIFilter(kName, {kCIInputImageKey, kInputRectangleKey}) {}

QVariantMap CICropFilter::classAttributes() {
    // Core Image's "infinite" rectangle.
    QVariant const everything = QVariant::fromValue(
        CIVector::vectorWithX(-8.98847e+307, -8.98847e+307, 1.79769e+308, 1.79769e+308));
    return {
        {kCIAttributeFilterName, kName},
        {kCIAttributeFilterDisplayName, "Crop"},
        {kCIAttributeFilterCategories, QStringList{kCICategoryGeometryAdjustment, kCICategoryVideo,
                                                   kCICategoryStillImage, kCICategoryBuiltIn}},
        {kCIInputImageKey, QVariantMap{{kCIAttributeClass, kCIClassImage}}},
        {kInputRectangleKey, QVariantMap{{kCIAttributeClass, kCIClassVector},
                                         {kCIAttributeType, kCIAttributeTypeRectangle},
                                         {kCIAttributeDefault, everything},
                                         {kCIAttributeIdentity, everything}}},
    };
}

CIImage CICropFilter::outputImage() const {
    return imageForKey(kCIInputImageKey)
        .imageByCroppingToRect(vectorForKey(kInputRectangleKey).CGRectValue());
}

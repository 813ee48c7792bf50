#include "platform/imaging/CIAffineTransformFilter.h"

CIAffineTransformFilter::CIAffineTransformFilter()
    : CIFilter(kName, {kCIInputImageKey, kInputTransformKey}) {}

QVariantMap CIAffineTransformFilter::classAttributes() {
    QVariant const identity = QVariant::fromValue(QTransform());
    return {
        {kCIAttributeFilterName, kName},
        {kCIAttributeFilterDisplayName, "Affine Transform"},
        {kCIAttributeFilterCategories, QStringList{kCICategoryGeometryAdjustment, kCICategoryVideo,
                                                   kCICategoryStillImage, kCICategoryBuiltIn}},
        {kCIInputImageKey, QVariantMap{{kCIAttributeClass, kCIClassImage}}},
        {kInputTransformKey, QVariantMap{{kCIAttributeClass, kCIClassAffineTransform},
                                         {kCIAttributeDefault, identity},
                                         {kCIAttributeIdentity, identity}}},
    };
}

CIImage CIAffineTransformFilter::outputImage() const {
    return imageForKey(kCIInputImageKey)
        .imageByApplyingTransform(transformForKey(kInputTransformKey));
}

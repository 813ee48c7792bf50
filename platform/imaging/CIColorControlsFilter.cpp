#include "platform/imaging/CIColorControlsFilter.h"

#include "platform/imaging/CIColorMatrix.h"

namespace {

QVariantMap Scalar(double minimum, double sliderMinimum, double sliderMaximum, double identity) {
    return {{kCIAttributeClass, kCIClassNumber},
            {kCIAttributeType, kCIAttributeTypeScalar},
            {kCIAttributeMin, minimum},
            {kCIAttributeSliderMin, sliderMinimum},
            {kCIAttributeSliderMax, sliderMaximum},
            {kCIAttributeDefault, identity},
            {kCIAttributeIdentity, identity}};
}

}  // namespace

CIColorControlsFilter::CIColorControlsFilter()
    : CIFilter(kName,
               {kCIInputImageKey, kInputSaturationKey, kInputBrightnessKey, kInputContrastKey}) {}

QVariantMap CIColorControlsFilter::classAttributes() {
    return {
        {kCIAttributeFilterName, kName},
        {kCIAttributeFilterDisplayName, "Color Controls"},
        {kCIAttributeFilterCategories, QStringList{kCICategoryColorAdjustment, kCICategoryVideo,
                                                   kCICategoryStillImage, kCICategoryBuiltIn}},
        {kCIInputImageKey, QVariantMap{{kCIAttributeClass, kCIClassImage}}},
        {kInputSaturationKey, Scalar(0.0, 0.0, 2.0, 1.0)},
        {kInputBrightnessKey, Scalar(-1.0, -1.0, 1.0, 0.0)},
        {kInputContrastKey, Scalar(0.0, 0.25, 4.0, 1.0)},
    };
}

CIImage CIColorControlsFilter::outputImage() const {
    double const saturation = numberForKey(kInputSaturationKey);
    double const brightness = numberForKey(kInputBrightnessKey);
    double const contrast = numberForKey(kInputContrastKey);
    double const luma[3] = {0.2125, 0.7154, 0.0721};
    // c' = contrast * (S c + brightness) + 0.5 (1 - contrast), S = s I + (1 - s) luma rows.
    double const bias = contrast * brightness + 0.5 * (1.0 - contrast);
    CIColorMatrix::Row rows[3];
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            double const s = (row == column ? saturation : 0.0) + (1.0 - saturation) * luma[column];
            rows[row][column] = contrast * s;
        }
        rows[row][3] = bias;
    }
    return imageForKey(kCIInputImageKey)
        .imageByApplyingColorMatrix(CIColorMatrix::fromRows(rows[0], rows[1], rows[2]));
}

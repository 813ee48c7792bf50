#pragma once
// "CIColorControls": saturation, brightness and contrast, in this order, on each colour c:
//   luma = 0.2125 r + 0.7154 g + 0.0721 b            (Rec. 709 weights)
//   c1   = luma + inputSaturation * (c - luma)        (0 grey, 1 unchanged)
//   c2   = c1 + inputBrightness                       (0 unchanged)
//   c'   = (c2 - 0.5) * inputContrast + 0.5           (1 unchanged)

#include "platform/imaging/CIFilter.h"

class CIColorControlsFilter final : public CIFilter {
public:
    static constexpr char kName[] = "CIColorControls";
    static constexpr char kInputSaturationKey[] = "inputSaturation";
    static constexpr char kInputBrightnessKey[] = "inputBrightness";
    static constexpr char kInputContrastKey[] = "inputContrast";

    CIColorControlsFilter();
    static QVariantMap classAttributes();
    CIImage outputImage() const override;
};

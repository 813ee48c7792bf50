#pragma once
// "CIWhitePointAdjust": the reference colour "inputColor" becomes white. It is what a grey or
// white object looks like in the picture; each channel is divided by that colour's component
// in linear light, so the reference turns neutral (pure white) and the rest of the picture
// loses the same cast:
//   c' = encode(min(1, decode(c) / decode(reference)))
// with decode and encode the sRGB transfer curve. A component below 1/255 counts as 1/255;
// white makes the stage neutral.

#include "platform/imaging/CIFilter.h"

class CIWhitePointAdjustFilter final : public CIFilter {
public:
    static constexpr char kName[] = "CIWhitePointAdjust";
    static constexpr char kInputColorKey[] = "inputColor";

    CIWhitePointAdjustFilter();
    static QVariantMap classAttributes();
    CIImage outputImage() const override;
};

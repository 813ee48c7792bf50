#pragma once
// "CIWhitePointAdjust": makes "inputColor" the new white. Each channel is multiplied by 1 over
// that colour's component: c' = c / white (a component below 1/255 counts as 1/255).

#include "platform/imaging/CIFilter.h"

class CIWhitePointAdjustFilter final : public CIFilter {
public:
    static constexpr char kName[] = "CIWhitePointAdjust";
    static constexpr char kInputColorKey[] = "inputColor";

    CIWhitePointAdjustFilter();
    static QVariantMap classAttributes();
    CIImage outputImage() const override;
};

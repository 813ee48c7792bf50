#pragma once
// "CIExposureAdjust": exposure in stops, as a camera's exposure works: +1 EV doubles the light.
// The doubling happens in linear light, not on the gamma-encoded values:
//   c' = encode(min(1, decode(c) * 2^inputEV))
// with decode and encode the sRGB transfer curve (through a table per frame, so it costs no
// more than a multiply); highlights clip at white.

#include "platform/imaging/CIFilter.h"

class CIExposureAdjustFilter final : public CIFilter {
public:
    static constexpr char kName[] = "CIExposureAdjust";
    static constexpr char kInputEVKey[] = "inputEV";

    CIExposureAdjustFilter();
    static QVariantMap classAttributes();
    CIImage outputImage() const override;
};

#pragma once
// "CIExposureAdjust": exposure in stops, c' = c * 2^inputEV.

#include "platform/imaging/CIFilter.h"

class CIExposureAdjustFilter final : public CIFilter {
public:
    static constexpr char kName[] = "CIExposureAdjust";
    static constexpr char kInputEVKey[] = "inputEV";

    CIExposureAdjustFilter();
    static QVariantMap classAttributes();
    CIImage outputImage() const override;
};

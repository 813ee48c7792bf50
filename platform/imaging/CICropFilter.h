#pragma once
// "CICrop": keeps the part of the image inside "inputRectangle", a CIVector (x, y, width,
// height) in image coordinates. The default rectangle covers everything.

#include "platform/imaging/CIFilter.h"

class CICropFilter final : public CIFilter {
public:
    static constexpr char kName[] = "CICrop";
    static constexpr char kInputRectangleKey[] = "inputRectangle";

    CICropFilter();
    static QVariantMap classAttributes();
    CIImage outputImage() const override;
};

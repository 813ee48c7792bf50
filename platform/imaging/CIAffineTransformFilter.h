#pragma once
// "CIAffineTransform": places the image under "inputTransform" (a QTransform mapping the
// input's coordinates to the output's; see CIImage::imageByApplyingTransform).

#include "platform/imaging/CIFilter.h"

class CIAffineTransformFilter final : public CIFilter {
public:
    static constexpr char kName[] = "CIAffineTransform";
    static constexpr char kInputTransformKey[] = "inputTransform";

    CIAffineTransformFilter();
    static QVariantMap classAttributes();
    CIImage outputImage() const override;
};

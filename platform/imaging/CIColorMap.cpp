#include "platform/imaging/CIColorMap.h"

#include <algorithm>
#include <cmath>

CIColorMap CIColorMap::linearGain(double red, double green, double blue) {
    CIColorMap map;
    map.mGain = {red, green, blue};
    return map;
}

CIColorMap CIColorMap::matrix(CIColorMatrix const& matrix) {
    CIColorMap map;
    map.mMatrix = matrix;
    return map;
}

bool CIColorMap::hasLinearGain() const {
    return mGain != std::array<double, 3>{1.0, 1.0, 1.0} ||
           mCeiling != std::array<double, 3>{1.0, 1.0, 1.0};
}

std::optional<CIColorMap> CIColorMap::followedBy(CIColorMap const& next) const {
    CIColorMap result = *this;
    if (!next.hasLinearGain()) {
        result.mMatrix = mMatrix.followedBy(next.mMatrix);
        return result;
    }
    if (!mMatrix.isIdentity()) {
        return std::nullopt;  // a gain in linear light after a matrix needs its own pass
    }
    // min(c2, g2 min(c1, g1 x)) = min(min(c2, g2 c1), g1 g2 x): still one gain and one clip.
    for (int channel = 0; channel < 3; ++channel) {
        result.mGain[channel] = mGain[channel] * next.mGain[channel];
        result.mCeiling[channel] =
            std::min(next.mCeiling[channel], next.mGain[channel] * mCeiling[channel]);
    }
    result.mMatrix = next.mMatrix;
    return result;
}

QString CIColorMap::description() const {
    if (!hasLinearGain()) {
        return mMatrix.description();
    }
    return QString("linearGain(%1 %2 %3 / %4 %5 %6) %7")
        .arg(mGain[0], 0, 'g', 4)
        .arg(mGain[1], 0, 'g', 4)
        .arg(mGain[2], 0, 'g', 4)
        .arg(mCeiling[0], 0, 'g', 4)
        .arg(mCeiling[1], 0, 'g', 4)
        .arg(mCeiling[2], 0, 'g', 4)
        .arg(mMatrix.description());
}

double CISRGBToLinear(double encoded) {
    return encoded <= 0.04045 ? encoded / 12.92 : std::pow((encoded + 0.055) / 1.055, 2.4);
}

double CILinearToSRGB(double linear) {
    return linear <= 0.0031308 ? linear * 12.92 : 1.055 * std::pow(linear, 1.0 / 2.4) - 0.055;
}

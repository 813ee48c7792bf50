#pragma once
// What a chain of colour filters does to one pixel, as one map that renders in one pass:
//
//   1. a gain per channel in linear light: the gamma-encoded value is decoded with the sRGB
//      curve, multiplied, clipped at a ceiling (white, or less: a gain after a gain keeps the
//      first one's clipping) and encoded again (exposure and white point);
//   2. an affine map of the encoded colour (CIColorMatrix: brightness, contrast, saturation).
//
// Both stages act on unpremultiplied colour; alpha passes unchanged. Consecutive maps compose
// into one where the result is still of this shape (a gain after a gain, a matrix after
// anything); otherwise they stay two maps.

#include <array>
#include <optional>

#include <QString>

#include "platform/imaging/CIColorMatrix.h"

class CIColorMap {
public:
    CIColorMap() = default;  // identity

    static CIColorMap linearGain(double red, double green, double blue);
    static CIColorMap matrix(CIColorMatrix const& matrix);

    // Gains of red, green, blue and where each clips, in linear light (1 and 1 when the map
    // has no linear stage).
    std::array<double, 3> const& gain() const { return mGain; }
    std::array<double, 3> const& ceiling() const { return mCeiling; }
    CIColorMatrix const& colorMatrix() const { return mMatrix; }
    bool hasLinearGain() const;
    bool isIdentity() const { return !hasLinearGain() && mMatrix.isIdentity(); }

    // The one map that applies this map, then `next`; nothing when no single map can.
    std::optional<CIColorMap> followedBy(CIColorMap const& next) const;

    QString description() const;

private:
    std::array<double, 3> mGain{1.0, 1.0, 1.0};
    std::array<double, 3> mCeiling{1.0, 1.0, 1.0};
    CIColorMatrix mMatrix;
};

// The sRGB transfer curve (IEC 61966-2-1) on 0..1: encoded to linear light and back.
double CISRGBToLinear(double encoded);
double CILinearToSRGB(double linear);

#include "CoCamX/NSUIEyeAlignment.h"

#include <cmath>

namespace {

constexpr double kCentreX = 320.0;
constexpr double kCentreY = 240.0;
constexpr double kPi = 3.14159265358979323846;

}  // namespace

QTransform NSUIEyeAlignment::transform() const {
    QTransform result;
    if (rotationDegrees != 0.0 || scale != 1.0) {
        result = QTransform::fromTranslate(-kCentreX, -kCentreY) *
                 QTransform().rotate(rotationDegrees) * QTransform::fromScale(scale, scale) *
                 QTransform::fromTranslate(kCentreX, kCentreY);
    }
    if (horizontalOffset != 0.0 || verticalOffset != 0.0) {
        result = result * QTransform::fromTranslate(horizontalOffset, verticalOffset);
    }
    return result;
}

NSUIEyeAlignment NSUIEyeAlignment::followedBy(NSUIEyeAlignment const& next) const {
    // next(this(p)) = s' R(a') (s R(a) (p - c) + t) + c + t'
    //              = s' s R(a + a') (p - c) + c + (s' R(a') t + t').
    double const radians = next.rotationDegrees * kPi / 180.0;
    double const cosine = std::cos(radians);
    double const sine = std::sin(radians);
    NSUIEyeAlignment both;
    both.scale = scale * next.scale;
    both.rotationDegrees = rotationDegrees + next.rotationDegrees;
    both.horizontalOffset =
        next.scale * (cosine * horizontalOffset - sine * verticalOffset) + next.horizontalOffset;
    both.verticalOffset =
        next.scale * (sine * horizontalOffset + cosine * verticalOffset) + next.verticalOffset;
    return both;
}

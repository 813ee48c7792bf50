#pragma once
// How one eye's picture is brought into line with the other's: turned and scaled about the
// frame's centre, then moved. Applied after the mirroring, in the same pass as the eye's
// colour adjustments.

#include <QTransform>

struct NSUIEyeAlignment {
    double horizontalOffset = 0.0;  // pixels, positive to the right
    double verticalOffset = 0.0;    // pixels, positive down
    double rotationDegrees = 0.0;   // positive turns clockwise on screen
    double scale = 1.0;

    bool isIdentity() const {
        return horizontalOffset == 0.0 && verticalOffset == 0.0 && rotationDegrees == 0.0 &&
               scale == 1.0;
    }
    // Maps the picture's coordinates (640 x 480, y down) to the aligned picture's. Only the
    // parts that are not neutral are composed, so whole-pixel offsets alone stay a pure
    // translation that moves pixels exactly.
    QTransform transform() const;
    // This alignment, then `next`, as one.
    NSUIEyeAlignment followedBy(NSUIEyeAlignment const& next) const;
};

#pragma once
// The picture of the built-in test-pattern camera: one scene of textured planes at several
// depths that move, seen by a left and a right eye side by side, so the two pictures differ
// by a horizontal shift that grows as a plane comes nearer. Rendered into 32-bit ARGB.

#include <cstdint>

class TestPatternScene {
public:
    enum Eye { kLeftEye = 0, kRightEye = 1 };
    static constexpr int kPlaneCount = 4;  // the background, then three cards far to near

    // A rectangle facing the eyes, in metres: x to the right, y up, depth ahead.
    struct Plane {
        double depth;
        double centerX;
        double centerY;
        double halfWidth;  // 0 for the background, which fills the view
        double halfHeight;
        double textureOffsetX;  // the background's texture drifts instead of the plane
    };

    // Where the planes are `seconds` into the scene.
    static void PlanesAt(double seconds, Plane planes[kPlaneCount]);
    // Focal length in pixels for a picture `width` pixels wide.
    static double FocalLength(int width) { return 0.8 * width; }
    // How far a point at `depth` lies further right in the left eye's picture than in the
    // right eye's, in pixels of a picture `width` wide.
    static double DisparityPixels(double depth, int width);
    // Where a point of the scene lands in one eye's picture.
    static double ProjectX(double x, double depth, Eye eye, int width);
    static double ProjectY(double y, double depth, int height, int width);

    // Draws one eye's view at `seconds` into width x height pixels, rows `rowBytes` apart.
    static void Render(double seconds, Eye eye, std::uint8_t* argb, int rowBytes, int width,
                       int height);
};

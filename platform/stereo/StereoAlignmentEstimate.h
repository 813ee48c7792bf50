#pragma once
// How far the right eye's picture is moved up or down, turned and scaled against the left
// eye's, measured from the two pictures alone (the rig's automatic alignment).
//
// The method is sparse feature matching on a small image pyramid, fitted robustly:
//  1. Both pictures become grey (luma) with a 1/2 and a 1/4 level below them.
//  2. Corners of the right picture are picked at 1/4 (Shi-Tomasi: the structure tensor's
//     smaller eigenvalue), the strongest one in each cell of a grid, so they cover the picture.
//  3. Each corner is looked for in the left picture by zero-mean normalised cross-correlation,
//     which ignores the cameras' differences in brightness and contrast: a wide search at 1/4
//     (the scene's horizontal disparity up to +-96 px, vertical misalignment up to +-32 px),
//     refined at 1/2 and at full size, with a parabola through the scores for the last
//     fraction of a pixel.
//  4. Only the vertical positions are fitted: where a match lies horizontally depends on the
//     depth of what it sees, vertically only on the cameras. The right eye corrected by
//     C(p) = s R(a) (p - centre) + centre + t brings a match (right p, left q) into line when
//        s sin(a) (p.x - cx) + s cos(a) (p.y - cy) + t.y = q.y - cy,
//     which is linear in (s sin a, s cos a, t.y). RANSAC over three-match samples keeps the
//     matches that agree within a pixel; least squares over them gives the answer.
//
// Why not row-projection correlation: summing rows mixes every depth's horizontal disparity
// into one profile and sees one vertical shift for the whole picture, while a rotation or a
// scale is a vertical shift that changes across the picture and needs local measurements.
// Why not a vision library: the few hundred lines here cover what a two-camera rig needs,
// run in tens of milliseconds on a 640 x 480 pair, and add no dependency.
//
// Plain C++ with no shared state: callers run it on a worker thread.

#include "platform/stereo/StereoPicture.h"

struct StereoAlignmentEstimate {
    bool found = false;
    // The correction C for the right eye: t.y in pixels, the angle a in degrees (positive
    // turns the picture clockwise on screen, y pointing down) and the scale s about the centre.
    double verticalOffset = 0.0;
    double rotationDegrees = 0.0;
    double scale = 1.0;
    // Root-mean-square vertical disparity of the agreeing matches before and after C.
    double residualBeforePixels = 0.0;
    double residualPixels = 0.0;
    int matches = 0;     // the agreeing matches the answer rests on
    int candidates = 0;  // corners that found a partner in the left picture
};

StereoAlignmentEstimate EstimateStereoAlignment(StereoPicture const& left,
                                                StereoPicture const& right);

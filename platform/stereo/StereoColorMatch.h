#pragma once
// The per-channel gain and offset that make the right eye's colours match the left eye's:
// for each of red, green and blue, the mean and spread of the right picture's values are
// mapped onto the left picture's (value' = gain x value + offset), measured where both
// pictures have pixels and away from the side bands that only one eye sees.
//
// Plain C++; any thread.

#include "platform/stereo/StereoPicture.h"

struct StereoColorMatch {
    bool found = false;
    double gain[3] = {1.0, 1.0, 1.0};    // red, green, blue
    double offset[3] = {0.0, 0.0, 0.0};  // in levels of 0..255
    int samples = 0;                     // pixels measured
};

StereoColorMatch EstimateStereoColorMatch(StereoPicture const& left, StereoPicture const& right);

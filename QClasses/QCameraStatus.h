#pragma once
// One line that tells the user how an eye's camera is doing: which camera, what it sends,
// the frames it delivers and drops, how far apart in time the two eyes' pictures were taken,
// and its trouble in words when it has one. Plain C++; the window shows the text.

#include <cstdint>
#include <string>

#include "platform/capture/SGTypes.h"

struct QCameraStatus {
    std::string camera;  // its input name; empty without a camera
    OSType format = 0;
    int width = 0;
    int height = 0;
    double framesPerSecond = 0.0;  // delivered over the last second
    std::uint64_t framesDropped = 0;
    double pairingErrorMs = -1.0;  // between the eyes' newest frames; negative: not known
    std::string trouble;           // empty when there is none

    // "Left eye: C920 [1.2] · MJPG 640x480 · 29.9 fps · 2 dropped · eyes 4 ms apart"
    std::string Text(char const* eye) const;
};

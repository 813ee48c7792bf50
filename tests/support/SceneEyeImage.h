#pragma once
// One eye of the test pattern's scene as a 640 x 480 picture, for the alignment tests and
// benchmarks.

#include <QImage>

#include "platform/capture/TestPatternScene.h"

inline QImage SceneEyeImage(TestPatternScene::Eye eye, double seconds) {
    QImage image(640, 480, QImage::Format_ARGB32_Premultiplied);
    TestPatternScene::Render(seconds, eye, image.bits(), static_cast<int>(image.bytesPerLine()),
                             640, 480);
    return image;
}

// The stereo measurements on the test-pattern camera's two eyes: a right eye moved, turned
// and scaled by known amounts is brought back into line, and pictures with nothing to
// measure are refused.

#include <cmath>

#include <QImage>
#include <QTransform>

#include <gtest/gtest.h>

#include "platform/capture/TestPatternScene.h"
#include "platform/imaging/CIContext.h"
#include "platform/stereo/StereoAlignmentEstimate.h"
#include "platform/stereo/StereoColorMatch.h"
#include "tests/support/SceneEyeImage.h"

namespace {

StereoPicture PictureOf(QImage const& image) {
    return {image.constBits(), image.width(), image.height(), image.bytesPerLine()};
}

// Turned by `degrees` and scaled by `scale` about the centre, then moved down by `down`.
QTransform AboutCentre(double down, double degrees, double scale) {
    return QTransform::fromTranslate(-320, -240) * QTransform().rotate(degrees) *
           QTransform::fromScale(scale, scale) * QTransform::fromTranslate(320, 240 + down);
}

QImage Warped(QImage const& image, QTransform const& transform) {
    CIImage const moved = CIImage::imageWithQImage(image).imageByApplyingTransform(transform);
    return CIContext::createQImage(moved, QRectF(0, 0, 640, 480));
}

TEST(StereoAlignmentEstimateTest, AKnownMisalignmentComesBackWithinAPixelAndAFifthOfADegree) {
    struct Case {
        double down, degrees, scale, seconds;
    };
    Case const cases[] = {
        {-12.0, -1.5, 1.0, 3.7},  // a rig out of line both ways
        {4.5, 0.4, 1.03, 1.2},    // a zoom difference as well
        {0.0, 0.0, 1.0, 2.0},     // aligned already: nothing to correct
    };
    for (Case const& c : cases) {
        QImage const left = SceneEyeImage(TestPatternScene::kLeftEye, c.seconds);
        QTransform const misalignment = AboutCentre(c.down, c.degrees, c.scale);
        QImage const right =
            Warped(SceneEyeImage(TestPatternScene::kRightEye, c.seconds), misalignment);
        StereoAlignmentEstimate const e =
            EstimateStereoAlignment(PictureOf(left), PictureOf(right));
        ASSERT_TRUE(e.found) << c.down;
        EXPECT_GE(e.matches, 30) << c.down;
        // The correction after the misalignment leaves no vertical disparity anywhere.
        QTransform const both =
            misalignment * AboutCentre(e.verticalOffset, e.rotationDegrees, e.scale);
        double worst = 0.0;
        for (double x : {0.0, 320.0, 640.0}) {
            for (double y : {0.0, 240.0, 480.0}) {
                worst = std::max(worst, std::abs(both.map(QPointF(x, y)).y() - y));
            }
        }
        EXPECT_LT(worst, 1.0) << c.down << " " << c.degrees;
        EXPECT_NEAR(e.rotationDegrees, -c.degrees, 0.2) << c.down;
        EXPECT_NEAR(e.scale * c.scale, 1.0, 0.003) << c.down;
        EXPECT_LT(e.residualPixels, 0.5) << c.down;
        EXPECT_GE(e.residualBeforePixels, 0.8 * std::abs(c.down)) << "the disparity it found";
    }
}

TEST(StereoEstimatesTest, PicturesWithNothingToMeasureAreRefused) {
    QImage flat(640, 480, QImage::Format_ARGB32_Premultiplied);
    flat.fill(qRgb(90, 90, 90));
    QImage empty(640, 480, QImage::Format_ARGB32_Premultiplied);
    empty.fill(0);  // no pixels at all (an eye moved wholly out of its frame)
    QImage const scene = SceneEyeImage(TestPatternScene::kLeftEye, 0.0);
    QImage const small = scene.copy(0, 0, 320, 240);
    EXPECT_FALSE(EstimateStereoAlignment(PictureOf(flat), PictureOf(flat)).found);
    EXPECT_FALSE(EstimateStereoAlignment(PictureOf(scene), PictureOf(small)).found);
    EXPECT_FALSE(EstimateStereoColorMatch(PictureOf(scene), PictureOf(empty)).found);
    EXPECT_FALSE(EstimateStereoAlignment(StereoPicture{}, PictureOf(scene)).found);
}

}  // namespace

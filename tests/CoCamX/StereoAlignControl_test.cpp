// The eyes brought into line through their stacks: the alignment sliders move the picture in
// the stack's one pass, and the window's Auto-align and Match colours correct a right eye that
// a known misalignment or tint put out of line with the left.

#include <cmath>
#include <span>

#include <QRegularExpression>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include "CoCamX/NSUICICameraControls.h"
#include "CoCamX/NSUIControls.h"
#include "CoCamX/NSUIStereoAlignControl.h"
#include "platform/capture/TestPatternScene.h"
#include "platform/imaging/CIContext.h"
#include "tests/support/SceneEyeImage.h"

namespace {

// What the eye view shows of a camera's frame: the frame through the eye's stack.
QImage ThroughStack(NSUICICameraControls const& controls, QImage const& frame) {
    return CIContext::createQImage(controls.filteredImage(CIImage::imageWithQImage(frame)),
                                   QRectF(0, 0, 640, 480));
}

TEST(StereoAlignControlTest, AlignmentMovesThePictureInTheStacksOnePass) {
    NSUICameraAdjustPanel panel;
    NSUICICameraControls& controls = *panel.controls();
    NSUICICameraControls::Outlets const& o = controls.outlets();
    QImage const frame = SceneEyeImage(TestPatternScene::kLeftEye, 0.0);

    // Whole pixels (3 of them the window's shift): an exact copy, black where nothing moved in.
    o.horizontalOffsetSlider->setDoubleValue(2.0);
    o.verticalOffsetSlider->setDoubleValue(-4.0);
    controls.setHorizontalShift(3.0);
    QImage shifted = ThroughStack(controls, frame);
    for (QPoint const p : {QPoint(5, 0), QPoint(639, 475), QPoint(300, 200)}) {
        EXPECT_EQ(shifted.pixel(p), frame.pixel(p + QPoint(-5, 4))) << p.x();
    }
    EXPECT_EQ(shifted.pixel(4, 100), 0u) << "nothing moved in from the left";
    EXPECT_EQ(shifted.pixel(100, 476), 0u) << "nothing moved in from below";

    // Turned and scaled with a colour adjustment: one pass over the frame, the colour map on
    // the sampled rows (no intermediate frame), and the centre stays where it is.
    controls.setHorizontalShift(0.0);
    controls.setAlignment({0.0, 0.0, 2.0, 1.02});
    o.brightnessSlider->setDoubleValue(0.1);
    CIImage const recipe = controls.filteredImage(CIImage::imageWithQImage(frame));
    QRegularExpression const onePass(R"(colorMap\(.*, transform\([^()]*, source\(640x480\)\)\))");
    EXPECT_TRUE(onePass.match(recipe.description()).hasMatch())
        << recipe.description().toStdString();
    QImage const turned = ThroughStack(controls, frame);
    EXPECT_EQ(turned.pixel(0, 0), 0u) << "a corner turned out of the frame is black";
    EXPECT_NEAR(qGreen(turned.pixel(320, 240)), std::min(255, qGreen(frame.pixel(320, 240)) + 26),
                4);
}

TEST(StereoAlignControlTest, AutoAlignBringsAKnownMisalignmentBackAndMatchColoursATint) {
    NSUICameraAdjustPanel leftPanel, rightPanel;
    NSUICICameraControls& right = *rightPanel.controls();
    QImage const left = SceneEyeImage(TestPatternScene::kLeftEye, 1.0);
    QImage const rightFrame = SceneEyeImage(TestPatternScene::kRightEye, 1.0);
    // The right camera sits 12 px lower and is turned 1.5 degrees: its frames come in so.
    QTransform const misalignment = QTransform::fromTranslate(-320, -240) *
                                    QTransform().rotate(1.5) *
                                    QTransform::fromTranslate(320, 240 + 12);
    QImage camera = CIContext::createQImage(
        CIImage::imageWithQImage(rightFrame).imageByApplyingTransform(misalignment),
        QRectF(0, 0, 640, 480));

    NSUIStereoAlignControl bar;
    bar.setEyes(
        leftPanel.controls(), [&] { return ThroughStack(*leftPanel.controls(), left); }, &right,
        [&] { return ThroughStack(right, camera); });
    QSignalSpy finished(&bar, &NSUIStereoAlignControl::alignmentFinished);
    QSignalSpy status(&bar, &NSUIStereoAlignControl::statusMessage);
    ASSERT_TRUE(bar.autoAlign());
    EXPECT_FALSE(bar.autoAlign()) << "one measurement at a time";
    ASSERT_TRUE(finished.wait(10000));
    EXPECT_TRUE(finished.first().first().toBool());
    NSUIEyeAlignment const aligned = right.alignment();
    EXPECT_NEAR(aligned.rotationDegrees, -1.5, 0.2);
    EXPECT_NEAR(aligned.verticalOffset, -12.0, 1.0);
    EXPECT_NEAR(aligned.scale, 1.0, 0.005);

    // Measured again on the corrected pictures: less than a pixel of vertical disparity left,
    // and the second correction composes with the first instead of replacing it.
    finished.clear();
    ASSERT_TRUE(bar.autoAlign());
    ASSERT_TRUE(finished.wait(10000));
    QString const report = status.last().first().toString();
    double const before = report.section("disparity ", 1).section(" px", 0, 0).toDouble();
    EXPECT_LT(before, 1.0) << report.toStdString();
    EXPECT_NEAR(right.alignment().rotationDegrees, -1.5, 0.2);

    // The same camera with a colour cast of its own: after Match colours the right eye is
    // within 3 levels per channel of what it showed without the cast.
    QImage const untinted = ThroughStack(right, camera);
    for (QRgb& p : std::span(reinterpret_cast<QRgb*>(camera.bits()), 640 * 480)) {
        if (qAlpha(p) == 255) {
            p = qRgb(std::min(255, qRed(p) * 9 / 10 + 14), qGreen(p),
                     std::min(255, qBlue(p) * 6 / 5));
        }
    }
    ASSERT_TRUE(bar.matchColors());
    QImage const matched = ThroughStack(right, camera);
    ASSERT_EQ(matched.format(), untinted.format());
    double difference[4] = {};  // per byte of a pixel, the alpha last
    for (qsizetype i = 0; i < matched.sizeInBytes(); ++i) {
        difference[i % 4] += std::abs(untinted.constBits()[i] - matched.constBits()[i]);
    }
    for (int channel = 0; channel < 3; ++channel) {
        EXPECT_LT(difference[channel] / (640.0 * 480.0), 3.0)
            << status.last().first().toString().toStdString();
    }
}

}  // namespace

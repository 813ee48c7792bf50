// One eye's adjustment stack driven through its panel's controls: the neutral stack and the
// mirrors against the input, the shared Save and Load, and the eye's own stored settings.

#include <numeric>

#include <QColor>

#include <gtest/gtest.h>

#include "CoCamX/NSUICICameraControls.h"
#include "CoCamX/NSUIControls.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/imaging/CIContext.h"

namespace {

// An opaque picture larger than the frame, every pixel different.
QImage Ramp() {
    QImage image(700, 500, QImage::Format_ARGB32_Premultiplied);
    auto* const pixels = reinterpret_cast<QRgb*>(image.bits());
    std::iota(pixels, pixels + 700 * 500, 0xFF000000u);
    return image;
}

QImage Filtered(NSUICICameraControls const& controls, QImage const& input) {
    CIImage const out = controls.filteredImage(CIImage::imageWithQImage(input));
    EXPECT_EQ(out.extent(), QRectF(0, 0, 640, 480));
    return CIContext::createQImage(out, out.extent());
}

TEST(CameraAdjustmentsTest, NeutralGivesTheInputCroppedAndTheMirrorsTurnIt) {
    NSUICameraAdjustPanel panel;
    NSUICICameraControls& controls = *panel.controls();
    QImage const input = Ramp();
    EXPECT_TRUE(controls.isNeutral());
    EXPECT_EQ(Filtered(controls, input), input.copy(0, 0, 640, 480));

    struct Case {
        int mirrorX, mirrorY;
        QPoint (*source)(QPoint);  // where output pixel p comes from
    };
    Case const cases[] = {
        {0, 1, [](QPoint p) { return QPoint(p.x(), 479 - p.y()); }},
        {-1, 0, [](QPoint p) { return p; }},  // a mixed switch counts as off
    };
    for (Case const& c : cases) {
        controls.outlets().mirrorImageX->setState(c.mirrorX);
        controls.outlets().mirrorImageY->setState(c.mirrorY);
        QImage const out = Filtered(controls, input);
        for (QPoint const p : {QPoint(0, 0), QPoint(639, 479), QPoint(17, 301)}) {
            EXPECT_EQ(out.pixel(p), input.pixel(c.source(p))) << c.mirrorX << c.mirrorY;
        }
    }
}

TEST(CameraAdjustmentsTest, SharedSaveAndLoadKeepTheWellsColourAndFallBackOnWrongKinds) {
    NSUICameraAdjustPanel panel;
    NSUICICameraControls& controls = *panel.controls();
    NSUICICameraControls::Outlets const& o = controls.outlets();
    o.exposureSlider->setDoubleValue(0.5);
    o.contrastSlider->setDoubleValue(1.25);
    o.mirrorImageY->setState(1);
    o.whiteBalanceEnable->setState(1);
    o.whiteBalanceColor->setColor(QColor::fromRgbF(1.0f, 0.8f, 0.6f));
    controls.preferencesSaveDefaults(nullptr);
    UserDefaults& defaults = UserDefaults::standard();
    EXPECT_EQ(defaults.stringForKey("_exposureSlider"), "0.5");
    EXPECT_EQ(defaults.numberForKey("_mirrorImageY"), 1.0);
    EXPECT_EQ(defaults.stringForKey("_whiteBalanceColor"), "rgb(1.0,0.8,0.6)");

    controls.resetDefaults(nullptr);
    EXPECT_TRUE(controls.isNeutral());
    QColor const kept = QColor::fromRgbF(0.2f, 0.4f, 0.6f);
    o.whiteBalanceColor->setColor(kept);
    defaults.setString("_mirrorImageX", "1");  // a string where a number belongs
    controls.preferencesLoadDefaults(nullptr);
    EXPECT_EQ(o.exposureSlider->doubleValue(), 0.5);
    EXPECT_EQ(o.contrastSlider->doubleValue(), 1.25);
    EXPECT_EQ(o.mirrorImageY->state(), 1);
    EXPECT_EQ(o.mirrorImageX->state(), 0) << "the wrong kind gives the fallback";
    EXPECT_EQ(o.whiteBalanceColor->color(), kept) << "the colour is saved, never loaded";

    for (char const* key : {"_exposureSlider", "_brightnessSlider", "_contrastSlider",
                            "_saturationSlider", "_mirrorImageX", "_mirrorImageY",
                            "_whiteBalanceEnable"}) {
        defaults.removeKey(key);
    }
    controls.preferencesLoadDefaults(nullptr);
    EXPECT_EQ(o.contrastSlider->doubleValue(), 1.0);
    EXPECT_EQ(o.whiteBalanceEnable->state(), 0);
    EXPECT_TRUE(controls.isNeutral()) << "with balance off the kept reference does not act";
}

TEST(CameraAdjustmentsTest, EachEyeKeepsItsOwnSettingsExactly) {
    NSUICameraAdjustPanel left, right;
    NSUICICameraControls::Outlets const& o = left.controls()->outlets();
    o.saturationSlider->setDoubleValue(0.3);
    o.whiteBalanceColor->setColor(QColor(201, 180, 150));
    o.whiteBalanceEnable->setState(1);
    o.rotationSlider->setDoubleValue(-1.25);
    o.matchOffsetSliders[2]->setDoubleValue(7.5);
    left.controls()->saveEyeSettings("leftEye");
    right.controls()->saveEyeSettings("rightEye");

    NSUICameraAdjustPanel restored;
    restored.controls()->restoreEyeSettings("leftEye");
    NSUICICameraControls::Outlets const& r = restored.controls()->outlets();
    EXPECT_EQ(r.saturationSlider->doubleValue(), 0.3);
    EXPECT_EQ(r.whiteBalanceColor->color(), QColor(201, 180, 150)) << "to the 8-bit value";
    EXPECT_EQ(r.whiteBalanceEnable->state(), 1);
    EXPECT_EQ(restored.controls()->alignment().rotationDegrees, -1.25);
    EXPECT_EQ(restored.controls()->colorMatch().offset[2], 7.5);
    restored.controls()->restoreEyeSettings("rightEye");
    EXPECT_TRUE(restored.controls()->isNeutral());
}

}  // namespace

// Bringing the eyes into line at 640 x 480: one eye's adjustment pass with its alignment at
// identity (today's pass), as whole-pixel offsets, as a part-pixel vertical offset and as a
// rotation with scale; then the measurements behind Auto-align and Match colours, which run
// off the clock's tick.
//
//   build/bench/StereoAlign_bench

#include <QImage>
#include <QTransform>

#include <benchmark/benchmark.h>

#include "CoCamX/NSUICICameraControls.h"
#include "CoCamX/NSUIControls.h"
#include "platform/capture/TestPatternScene.h"
#include "platform/imaging/CIContext.h"
#include "platform/stereo/StereoAlignmentEstimate.h"
#include "platform/stereo/StereoColorMatch.h"
#include "tests/support/SceneEyeImage.h"

namespace {

StereoPicture PictureOf(QImage const& image) {
    return {image.constBits(), image.width(), image.height(), image.bytesPerLine()};
}

// The right eye 12 px low and turned 1.5 degrees.
QImage MisalignedRightEye() {
    QTransform const misalignment = QTransform::fromTranslate(-320, -240) *
                                    QTransform().rotate(1.5) *
                                    QTransform::fromTranslate(320, 240 + 12);
    return CIContext::createQImage(
        CIImage::imageWithQImage(SceneEyeImage(TestPatternScene::kRightEye, 1.0))
            .imageByApplyingTransform(misalignment),
        QRectF(0, 0, 640, 480));
}

void BM_EyePass(benchmark::State& state) {
    NSUICameraAdjustPanel panel;
    NSUICICameraControls& controls = *panel.controls();
    // Colour adjustments on, so every case renders the stack's pass.
    controls.outlets().brightnessSlider->setDoubleValue(0.05);
    controls.outlets().contrastSlider->setDoubleValue(1.1);
    char const* const labels[] = {"identity", "whole-pixel offsets", "part-pixel vertical",
                                  "rotation and scale"};
    NSUIEyeAlignment const alignments[] = {
        {}, {3.0, -7.0, 0.0, 1.0}, {0.0, -11.75, 0.0, 1.0}, {1.0, -11.75, -1.5, 1.01}};
    controls.setAlignment(alignments[state.range(0)]);
    state.SetLabel(labels[state.range(0)]);
    QImage const frame = SceneEyeImage(TestPatternScene::kLeftEye, 1.0);
    // Built once, as the eye view does until a slider moves.
    CIImage const recipe = controls.filteredImage(CIImage::imageWithQImage(frame));
    QImage target(640, 480, QImage::Format_ARGB32_Premultiplied);
    auto context = CIContext::contextWithBitmap(target.bits(), 640, 480,
                                                static_cast<int>(target.bytesPerLine()));
    for (auto _ : state) {
        context->drawImage(recipe, QPointF(0, 0), QRectF(0, 0, 640, 480));
        benchmark::DoNotOptimize(target.constBits());
    }
    state.SetItemsProcessed(state.iterations() * 640 * 480);
}
BENCHMARK(BM_EyePass)->DenseRange(0, 3)->Unit(benchmark::kMicrosecond);

void BM_AlignmentEstimate(benchmark::State& state) {
    QImage const left = SceneEyeImage(TestPatternScene::kLeftEye, 1.0);
    QImage const right = MisalignedRightEye();
    StereoAlignmentEstimate estimate;
    for (auto _ : state) {
        estimate = EstimateStereoAlignment(PictureOf(left), PictureOf(right));
        benchmark::DoNotOptimize(estimate);
    }
    state.counters["matches"] = estimate.matches;
    state.counters["residual_px"] = estimate.residualPixels;
}
BENCHMARK(BM_AlignmentEstimate)->Unit(benchmark::kMillisecond);

void BM_ColorMatchEstimate(benchmark::State& state) {
    QImage const left = SceneEyeImage(TestPatternScene::kLeftEye, 1.0);
    QImage const right = SceneEyeImage(TestPatternScene::kRightEye, 1.0);
    for (auto _ : state) {
        StereoColorMatch const match = EstimateStereoColorMatch(PictureOf(left), PictureOf(right));
        benchmark::DoNotOptimize(match);
    }
}
BENCHMARK(BM_ColorMatchEstimate)->Unit(benchmark::kMillisecond);

}  // namespace

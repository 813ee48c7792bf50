// The imaging library on a 640 x 480 frame, the size every eye and the broadcast use:
// the stereo mux in each of its formats, the fused colour chain (and the same chain filter
// by filter, to show what fusing saves), the whole adjustment stack, and the monitor's
// scaled draw.

#include <random>
#include <vector>

#include <QTransform>

#include <benchmark/benchmark.h>

#include "CocoaX/CIVIZStereoFormat.h"
#include "CocoaX/CIVIZStereoMuxFilter.h"
#include "platform/imaging/CIContext.h"
#include "platform/imaging/CIFilter.h"
#include "platform/imaging/CIPixelKernels.h"

namespace {

int const kWidth = 640;
int const kHeight = 480;

std::vector<uint32_t> RandomFrame(uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<uint32_t> frame(size_t(kWidth) * kHeight);
    for (uint32_t& p : frame) {
        p = 0xFF000000u | (rng() & 0x00FFFFFFu);
    }
    return frame;
}

CIImage FrameImage(std::vector<uint32_t> const& frame) {
    return CIImage::imageWithARGBData(frame.data(), kWidth, kHeight, kWidth * 4);
}

// A reference (1) or SIMD (0) run, restored afterwards.
class KernelChoice {
public:
    explicit KernelChoice(benchmark::State& state) {
        CISetForceReferenceKernels(state.range(0) != 0);
        state.SetLabel(state.range(0) != 0 ? "reference" : "sse2");
    }
    ~KernelChoice() { CISetForceReferenceKernels(false); }
};

struct Target {
    std::vector<uint32_t> pixels = std::vector<uint32_t>(size_t(kWidth) * kHeight);
    std::unique_ptr<CIContext> context =
        CIContext::contextWithBitmap(pixels.data(), kWidth, kHeight, kWidth * 4);
    void draw(CIImage const& image) {
        context->drawImage(image, QPointF(0, 0), image.extent());
        benchmark::DoNotOptimize(pixels.data());
    }
};

std::unique_ptr<CIFilter> ColourFilter(char const* name) {
    auto filter = CIFilter::filterWithName(name);
    filter->setDefaults();
    return filter;
}

// The three colour stages with parameters away from identity.
CIImage ColourChain(CIImage const& image, CIFilter& white, CIFilter& exposure, CIFilter& color) {
    white.setValue(image, "inputImage");
    exposure.setValue(white.outputImage(), "inputImage");
    color.setValue(exposure.outputImage(), "inputImage");
    return color.outputImage();
}

struct ColourStages {
    std::unique_ptr<CIFilter> white = ColourFilter("CIWhitePointAdjust");
    std::unique_ptr<CIFilter> exposure = ColourFilter("CIExposureAdjust");
    std::unique_ptr<CIFilter> color = ColourFilter("CIColorControls");
    ColourStages() {
        white->setValue(CIColor::colorWithRed(0.95, 1.0, 0.9), "inputColor");
        exposure->setValue(0.3, "inputEV");
        color->setValue(1.2, "inputSaturation");
        color->setValue(0.05, "inputBrightness");
        color->setValue(1.1, "inputContrast");
    }
};

void BM_StereoMux(benchmark::State& state) {
    KernelChoice choice(state);
    import_CIVIZStereoMuxFilter(true);
    auto const right = RandomFrame(1);
    auto const left = RandomFrame(2);
    CIImage const rightImage = FrameImage(right);
    CIImage const leftImage = FrameImage(left);
    auto mux = CIFilter::filterWithName("CIVIZStereoMuxFilter");
    mux->setDefaults();
    Target target;
    for (auto _ : state) {
        // As the monitor view does each tick: set the eyes, take the output, draw it.
        mux->setValue(rightImage, "inputImage");
        mux->setValue(leftImage, "inputLeftImage");
        target.draw(mux->outputImage());
    }
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}
BENCHMARK(BM_StereoMux)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

// Each stereo format's one pass from two 640 x 480 eyes to its picture (1280 x 480 or
// 640 x 960 for the full layouts); the second argument 1 forces the reference rows.
void BM_StereoFormat(benchmark::State& state) {
    auto const format = static_cast<CIVIZStereoFormat>(state.range(0));
    CISetForceReferenceKernels(state.range(1) != 0);
    state.SetLabel(std::string(CIVIZStereoFormatName(format)) +
                   (state.range(1) != 0 ? ", reference" : ", simd"));
    import_CIVIZStereoMuxFilter(true);
    auto const right = RandomFrame(1);
    auto const left = RandomFrame(2);
    auto mux = CIFilter::filterWithName("CIVIZStereoMuxFilter");
    mux->setDefaults();
    mux->setValue(FrameImage(right), "inputImage");
    mux->setValue(FrameImage(left), "inputLeftImage");
    mux->setValue(static_cast<int>(format), "inputStereoFormat");
    QSize const size = CIVIZStereoFormatPictureSize(format, QSize(kWidth, kHeight));
    std::vector<uint32_t> pixels(size_t(size.width()) * size.height());
    auto context = CIContext::contextWithBitmap(pixels.data(), size.width(), size.height(),
                                                size.width() * 4);
    for (auto _ : state) {
        CIImage const picture = mux->outputImage();
        context->drawImage(picture, QPointF(0, 0), picture.extent());
        benchmark::DoNotOptimize(pixels.data());
    }
    CISetForceReferenceKernels(false);
    state.SetItemsProcessed(state.iterations() * size.width() * size.height());
}
BENCHMARK(BM_StereoFormat)
    ->ArgsProduct({benchmark::CreateDenseRange(0, kCIVIZStereoFormatCount - 1, 1), {0, 1}})
    ->Unit(benchmark::kMicrosecond);

void BM_ColourChainFused(benchmark::State& state) {
    KernelChoice choice(state);
    auto const frame = RandomFrame(3);
    CIImage const image = FrameImage(frame);
    ColourStages stages;
    Target target;
    for (auto _ : state) {
        target.draw(ColourChain(image, *stages.white, *stages.exposure, *stages.color));
    }
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}
BENCHMARK(BM_ColourChainFused)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

// The same three stages rendered one after another through full-frame intermediates: what
// the chain would cost without fusing.
void BM_ColourChainFilterByFilter(benchmark::State& state) {
    KernelChoice choice(state);
    auto const frame = RandomFrame(3);
    ColourStages stages;
    Target first, second, target;
    for (auto _ : state) {
        stages.white->setValue(FrameImage(frame), "inputImage");
        first.draw(stages.white->outputImage());
        stages.exposure->setValue(
            CIImage::imageWithSharedARGBData(first.pixels.data(), kWidth, kHeight, kWidth * 4),
            "inputImage");
        second.draw(stages.exposure->outputImage());
        stages.color->setValue(
            CIImage::imageWithSharedARGBData(second.pixels.data(), kWidth, kHeight, kWidth * 4),
            "inputImage");
        target.draw(stages.color->outputImage());
    }
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}
BENCHMARK(BM_ColourChainFilterByFilter)->Arg(0)->Unit(benchmark::kMicrosecond);

// The adjustment stack: colour stages, a left-right mirror and the 640 x 480 crop.
void BM_AdjustmentStack(benchmark::State& state) {
    KernelChoice choice(state);
    auto const frame = RandomFrame(4);
    CIImage const image = FrameImage(frame);
    ColourStages stages;
    auto crop = ColourFilter("CICrop");
    crop->setValue(CIVector::vectorWithX(0, 0, kWidth, kHeight), "inputRectangle");
    QTransform mirror;
    mirror.translate(kWidth, 0);
    mirror.scale(-1, 1);
    Target target;
    for (auto _ : state) {
        CIImage const colour = ColourChain(image, *stages.white, *stages.exposure, *stages.color);
        crop->setValue(colour.imageByApplyingTransform(mirror), "inputImage");
        target.draw(crop->outputImage());
    }
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}
BENCHMARK(BM_AdjustmentStack)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

// The camera view's per-tick copy of its frame into an image.
void BM_CameraImageCopy(benchmark::State& state) {
    auto const frame = RandomFrame(5);
    for (auto _ : state) {
        benchmark::DoNotOptimize(FrameImage(frame));
    }
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}
BENCHMARK(BM_CameraImageCopy)->Unit(benchmark::kMicrosecond);

// The monitor view: the muxed picture drawn scaled to fill a 960 x 720 view.
void BM_MonitorScaledMux(benchmark::State& state) {
    KernelChoice choice(state);
    import_CIVIZStereoMuxFilter(true);
    auto const right = RandomFrame(6);
    auto const left = RandomFrame(7);
    auto mux = CIFilter::filterWithName("CIVIZStereoMuxFilter");
    mux->setDefaults();
    mux->setValue(FrameImage(right), "inputImage");
    mux->setValue(FrameImage(left), "inputLeftImage");
    std::vector<uint32_t> view(960 * 720);
    auto context = CIContext::contextWithBitmap(view.data(), 960, 720, 960 * 4);
    for (auto _ : state) {
        CIImage const muxed = mux->outputImage();
        context->drawImage(muxed, QRectF(0, 0, 960, 720), muxed.extent());
        benchmark::DoNotOptimize(view.data());
    }
    state.SetItemsProcessed(state.iterations() * 960 * 720);
}
BENCHMARK(BM_MonitorScaledMux)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();

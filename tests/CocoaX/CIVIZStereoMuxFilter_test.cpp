// The stereo mux: its anaglyph arithmetic against an independent per-pixel reference and
// known pixels, the layouts' pixels against where each should come from, the SIMD rows
// against the reference rows, the union extent and the one-eye fall-throughs.

#include "CocoaX/CIVIZStereoMuxFilter.h"

#include <cmath>
#include <tuple>

#include <gtest/gtest.h>

#include "CocoaX/CIVIZStereoLayoutRows.h"
#include "CocoaX/CIVIZStereoMuxKernel.h"
#include "platform/imaging/CIPixelKernels.h"
#include "tests/platform/imaging/ImagingTestSupport.h"
#include "tests/support/TestLogCapture.h"

using namespace ImagingTest;

namespace {

// Dubois's published red-cyan least-squares matrices, typed in again here so that a slip in
// the program's copy shows.
double const kLeft[3][3] = {
    {0.456, 0.500, 0.176}, {-0.040, -0.038, -0.016}, {-0.015, -0.021, -0.005}};
double const kRight[3][3] = {
    {-0.043, -0.088, -0.002}, {0.378, 0.734, -0.018}, {-0.072, -0.113, 1.226}};

// The anaglyph of one pixel pair in double: the eye shown through red uses kLeft.
uint32_t AnaglyphReference(uint32_t red, uint32_t cyan) {
    int const alpha = std::max(Alpha(red), Alpha(cyan));
    double const r[3] = {double(Red(red)), double(Green(red)), double(Blue(red))};
    double const c[3] = {double(Red(cyan)), double(Green(cyan)), double(Blue(cyan))};
    uint32_t result = uint32_t(alpha) << 24;
    for (int out = 0; out < 3; ++out) {
        double sum = 0;
        for (int in = 0; in < 3; ++in) {
            sum += kLeft[out][in] * r[in] + kRight[out][in] * c[in];
        }
        result |= uint32_t(std::clamp(std::lround(sum), 0L, long(alpha))) << (16 - 8 * out);
    }
    return result;
}

// The byte-wise average of two pixels, rounded up, channel by channel.
uint32_t Average(uint32_t a, uint32_t b) {
    auto mean = [](int p, int q) { return (p + q + 1) / 2; };
    return Pixel(mean(Alpha(a), Alpha(b)), mean(Red(a), Red(b)), mean(Green(a), Green(b)),
                 mean(Blue(a), Blue(b)));
}

// Pixel (x, y) of a layout, taken from where it should come from: `first` is the eye shown
// left, on top or at even positions.
uint32_t LayoutPixel(CIVIZStereoFormat format, Picture const& first, Picture const& second, int x,
                     int y) {
    int const w = first.width, h = first.height;
    switch (format) {
        case CIVIZStereoFormat::kSideBySide:
            return x < w ? first.at(x, y) : second.at(x - w, y);
        case CIVIZStereoFormat::kSideBySideCrossed:
            return x < w ? second.at(x, y) : first.at(x - w, y);
        case CIVIZStereoFormat::kSideBySideHalf: {
            Picture const& eye = x < w / 2 ? first : second;
            int const ex = 2 * (x < w / 2 ? x : x - w / 2);
            return Average(eye.at(ex, y), ex + 1 < w ? eye.at(ex + 1, y) : 0);
        }
        case CIVIZStereoFormat::kTopBottom:
            return y < h ? first.at(x, y) : second.at(x, y - h);
        case CIVIZStereoFormat::kTopBottomHalf: {
            Picture const& eye = y < h / 2 ? first : second;
            int const ey = 2 * (y < h / 2 ? y : y - h / 2);
            return Average(eye.at(x, ey), ey + 1 < h ? eye.at(x, ey + 1) : 0);
        }
        case CIVIZStereoFormat::kRowInterleaved:
            return (y % 2 == 0 ? first : second).at(x, y);
        case CIVIZStereoFormat::kColumnInterleaved:
            return (x % 2 == 0 ? first : second).at(x, y);
        case CIVIZStereoFormat::kCheckerboard:
            return ((x + y) % 2 == 0 ? first : second).at(x, y);
        default:
            ADD_FAILURE() << "not a layout";
            return 0;
    }
}

class StereoMux : public ::testing::TestWithParam<bool> {
protected:
    static void SetUpTestSuite() { ASSERT_TRUE(import_CIVIZStereoMuxFilter(true)); }
    void SetUp() override { CISetForceReferenceKernels(GetParam()); }
    void TearDown() override { CISetForceReferenceKernels(false); }

    static CIImage Mux(CIImage const& right, CIImage const& left, double swap, int format = 0) {
        auto filter = CIFilter::filterWithName("CIVIZStereoMuxFilter");
        filter->setDefaults();
        filter->setValue(right, "inputImage");
        filter->setValue(left, "inputLeftImage");
        filter->setValue(swap, "inputSwapEyes");
        filter->setValue(format, "inputStereoFormat");
        return filter->valueForKey("outputImage").value<CIImage>();
    }
};

}  // namespace

TEST(StereoMuxRow, EveryAnaglyphGivesKnownValues) {
    using F = CIVIZStereoFormat;
    uint32_t const a = Pixel(255, 100, 50, 200), b = Pixel(255, 10, 20, 30);
    // Format, left, right, expected.
    std::tuple<F, uint32_t, uint32_t, uint32_t> const cases[] = {
        // Left green through the green filter: 0.668 * 255.
        {F::kGreenMagentaDubois, Pixel(255, 0, 255, 0), Pixel(255, 0, 0, 0), Pixel(255, 0, 170, 0)},
        // Left green: 0.908 * 255 green, the negative red and blue clamp.
        {F::kAmberBlueDubois, Pixel(255, 0, 255, 0), Pixel(255, 0, 0, 0), Pixel(255, 0, 232, 0)},
        // Red the left eye's luma, green and blue the right's own.
        {F::kRedCyanHalfColour, a, b, Pixel(255, 82, 20, 30)},
        // Red from the left, green and blue from the right.
        {F::kRedCyanColour, a, b, Pixel(255, 100, 20, 30)},
        // Each eye as its luma.
        {F::kRedCyanGrey, a, b, Pixel(255, 82, 18, 18)},
    };
    for (auto const& [format, left, right, expected] : cases) {
        uint32_t out = 0;
        StereoMuxRow_C(&right, &left, &out, 1, StereoMuxCoefficientsFor(format, 0.0f));
        EXPECT_EQ(out, expected) << "format " << int(format);
    }
}

TEST_P(StereoMux, MatchesTheReferenceAndSwapExchangesTheEyes) {
    for (bool opaque : {true, false}) {
        Picture const right = RandomPicture(83, 17, opaque ? 60 : 61, opaque);
        Picture const left = RandomPicture(83, 17, opaque ? 62 : 63, opaque);
        Picture expected(83, 17);
        std::transform(left.pixels.begin(), left.pixels.end(), right.pixels.begin(),
                       expected.pixels.begin(), AnaglyphReference);
        EXPECT_LE(MaxByteDifference(Render(Mux(right.image(), left.image(), 0.0)), expected), 1)
            << "opaque " << opaque;
        // Swapping is exactly the same as exchanging the inputs; half way is symmetric.
        EXPECT_EQ(Render(Mux(right.image(), left.image(), 1.0)).pixels,
                  Render(Mux(left.image(), right.image(), 0.0)).pixels);
        EXPECT_EQ(Render(Mux(right.image(), left.image(), 0.5)).pixels,
                  Render(Mux(left.image(), right.image(), 0.5)).pixels);
    }
}

TEST_P(StereoMux, ExtentIsTheUnionAndOneEyeAloneFallsThrough) {
    Picture const right = RandomPicture(64, 48, 66, true), left = RandomPicture(32, 24, 67, true);
    CIImage const movedLeft =
        left.image().imageByApplyingTransform(QTransform::fromTranslate(40, 30));
    CIImage const muxed = Mux(right.image(), movedLeft, 0.0);
    EXPECT_EQ(muxed.extent(), QRectF(0, 0, 72, 54));
    Picture expected(80, 60);
    for (int y = 0; y < 60; ++y) {
        for (int x = 0; x < 80; ++x) {
            uint32_t const r = x < 64 && y < 48 ? right.at(x, y) : 0;
            uint32_t const l = x >= 40 && x < 72 && y >= 30 && y < 54 ? left.at(x - 40, y - 30) : 0;
            expected.at(x, y) = r == 0 && l == 0 ? 0 : AnaglyphReference(l, r);
        }
    }
    EXPECT_LE(MaxByteDifference(Render(muxed, 0, 0, 80, 60), expected), 1);

    // With one eye only, that eye falls through unchanged.
    CIImage const image = right.image();
    EXPECT_EQ(Mux(CIImage(), image, 1.0), image) << "only the left eye";
    EXPECT_EQ(Mux(image, CIImage(), 0.0), image) << "only the right eye";
    EXPECT_TRUE(Mux(CIImage(), CIImage(), 0.0).isEmpty());
}

TEST_P(StereoMux, LayoutsTakeEachPixelFromItsEyeAtTheFormatsSize) {
    // Odd halves (13 x 7 eyes) and 40-pixel rows exercise the vector forms and their tails.
    for (QSize const eye : {QSize(13, 7), QSize(40, 6)}) {
        Picture const right = RandomPicture(eye.width(), eye.height(), 71, false);
        Picture const left = RandomPicture(eye.width(), eye.height(), 72, false);
        for (int number = 0; number < kCIVIZStereoFormatCount; ++number) {
            auto const format = CIVIZStereoFormat(number);
            if (CIVIZStereoFormatIsAnaglyph(format)) {
                continue;
            }
            for (bool swapped : {false, true}) {
                CIImage const muxed = Mux(right.image(), left.image(), swapped ? 1.0 : 0.0, number);
                QSize const size = CIVIZStereoFormatPictureSize(format, eye);
                ASSERT_EQ(muxed.extent(), QRectF(QPointF(0, 0), QSizeF(size))) << number;
                // A window that starts inside the picture and crosses any split.
                Picture const out = Render(muxed, 3, 1, size.width() - 4, size.height() - 1);
                for (int y = 1; y < size.height(); ++y) {
                    for (int x = 3; x < size.width() - 1; ++x) {
                        uint32_t const expected = LayoutPixel(format, swapped ? right : left,
                                                              swapped ? left : right, x, y);
                        ASSERT_EQ(out.at(x - 3, y - 1), expected)
                            << number << " " << swapped << " " << x << "," << y;
                    }
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kernels, StereoMux, ::testing::Values(false, true),
                         [](auto const& info) { return info.param ? "Reference" : "SIMD"; });

TEST(StereoMuxRow, SIMDAndTheDispatcherMatchTheReferenceByteForByte) {
    using Row =
        void (*)(uint32_t const*, uint32_t const*, uint32_t*, int, StereoMuxCoefficients const&);
    // Name, row, available, widths: the vector forms take whole steps, the dispatcher any width.
    std::tuple<char const*, Row, bool, std::vector<int>> const forms[] = {
        {"SSE2", StereoMuxRow_SSE2, CIUseSSE2Kernels(), {8, 16, 24, 640, 1024}},
        {"AVX2", StereoMuxRow_AVX2, CIUseAVX2Kernels(), {16, 32, 48, 640, 1024}},
        {"dispatcher", StereoMuxRow, true, {1, 7, 9, 23, 31, 641}}};
    std::mt19937 rng(70);
    for (auto const& [name, row, available, widths] : forms) {
        if (!available) {
            continue;
        }
        for (int format = 0; format < kCIVIZStereoFormatCount; ++format) {
            if (!CIVIZStereoFormatIsAnaglyph(CIVIZStereoFormat(format))) {
                continue;
            }
            for (float swap : {0.0f, 1.0f, 0.3f}) {
                StereoMuxCoefficients const coefficients =
                    StereoMuxCoefficientsFor(CIVIZStereoFormat(format), swap);
                for (int width : widths) {
                    for (int offset : {0, 1, 3}) {  // unaligned starts
                        // Buffers end where the row does, so an over-read shows under ASan.
                        size_t const n = size_t(width + offset);
                        std::vector<uint32_t> right(n), left(n), simd(n), reference(n);
                        for (size_t i = 0; i < n; ++i) {
                            right[i] = RandomPixel(rng, i % 3 != 0);
                            left[i] = RandomPixel(rng, i % 5 != 0);
                        }
                        row(right.data() + offset, left.data() + offset, simd.data() + offset,
                            width, coefficients);
                        StereoMuxRow_C(right.data() + offset, left.data() + offset,
                                       reference.data() + offset, width, coefficients);
                        ASSERT_EQ(simd, reference) << name << " format " << format << " width "
                                                   << width << " offset " << offset;
                    }
                }
            }
        }
    }
}

TEST(StereoLayoutRows, SIMDMatchesReference) {
    if (!CIUseSSE2Kernels()) {
        GTEST_SKIP() << "no SSE2 on this machine";
    }
    std::mt19937 rng(75);
    for (int width : {4, 8, 36, 640}) {
        for (int offset : {0, 1}) {
            // Buffers end where the rows do, so an over-read shows under ASan.
            size_t const n = size_t(width + offset);
            std::vector<uint32_t> const first = RandomRow(rng, 2 * n), second = RandomRow(rng, n);
            std::vector<uint32_t> simd(n), reference(n);
            uint32_t const *f = first.data() + offset, *s = second.data() + offset;
            StereoSqueezeRow_SSE2(first.data() + 2 * offset, simd.data() + offset, width);
            StereoSqueezeRow_C(first.data() + 2 * offset, reference.data() + offset, width);
            ASSERT_EQ(simd, reference) << "squeeze, width " << width;
            StereoAverageRows_SSE2(f, s, simd.data() + offset, width);
            StereoAverageRows_C(f, s, reference.data() + offset, width);
            ASSERT_EQ(simd, reference) << "average, width " << width;
            for (int phase : {0, 1}) {
                StereoAlternateRow_SSE2(f, s, simd.data() + offset, width, phase);
                StereoAlternateRow_C(f, s, reference.data() + offset, width, phase);
                ASSERT_EQ(simd, reference) << "alternate, width " << width << " phase " << phase;
            }
        }
    }
}

TEST(CIFilterBaseKernels, MissingOrEmptyKernelTextIsLoggedAndGivesNone) {
    TestLogCapture log;
    EXPECT_EQ(CIFilterBase::kernelFromKernelCode(""), nullptr);
    EXPECT_NE(log.Lines().find("kernelCode"), std::string::npos) << log.Lines();
    EXPECT_EQ(CIFilterBase::kernelFromKernelCode("/* no declarations */"), nullptr);
    EXPECT_NE(log.Lines().find("kernels"), std::string::npos);
    EXPECT_EQ(CIFilterBase::kernelFromKernelData(QByteArray("kernel vec4 stereoMux(\xff);")),
              nullptr);
    EXPECT_NE(log.Lines().find("utf8"), std::string::npos);
    EXPECT_EQ(CIFilterBase::kernelFromBundleFile("noSuchKernel"), nullptr);

    import_CIVIZStereoMuxFilter(false);
    auto const kernel = CIFilterBase::kernelFromKernelData(
        "kernel vec4 stereoMux(sampler r, sampler l, float s, float f);");
    ASSERT_NE(kernel, nullptr);
    EXPECT_EQ(kernel->routine(), CIVIZStereoMuxFilter::kernel()->routine());
}

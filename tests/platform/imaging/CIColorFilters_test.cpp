// The colour filters' arithmetic, the fused colour pass against a filter-by-filter
// reference, and the colour-matrix row kernel's SIMD form against its reference.

#include <array>
#include <cmath>

#include <QTransform>

#include <gtest/gtest.h>

#include "platform/imaging/CIColorMatrix.h"
#include "platform/imaging/CIFilter.h"
#include "platform/imaging/CIPixelKernels.h"
#include "tests/platform/imaging/ImagingTestSupport.h"

using namespace ImagingTest;

namespace {

struct Adjustment {
    double white[3];
    double ev;
    double saturation;
    double brightness;
    double contrast;
};

// The three colour stages, each made by name and chained output to input, as the camera
// adjustment stack does.
CIImage AdjustByFilters(CIImage const& image, Adjustment const& a) {
    auto white = CIFilter::filterWithName("CIWhitePointAdjust");
    auto exposure = CIFilter::filterWithName("CIExposureAdjust");
    auto color = CIFilter::filterWithName("CIColorControls");
    white->setDefaults();
    exposure->setDefaults();
    color->setDefaults();
    white->setValue(image, "inputImage");
    white->setValue(CIColor::colorWithRed(a.white[0], a.white[1], a.white[2]), "inputColor");
    exposure->setValue(white->outputImage(), "inputImage");
    exposure->setValue(a.ev, "inputEV");
    color->setValue(exposure->outputImage(), "inputImage");
    color->setValue(a.saturation, "inputSaturation");
    color->setValue(a.brightness, "inputBrightness");
    color->setValue(a.contrast, "inputContrast");
    return color->outputImage();
}

// One pixel through the documented formulas, one filter after another, in double on
// unpremultiplied colour.
uint32_t AdjustPixelReference(uint32_t pixel, Adjustment const& a) {
    double const alpha = Alpha(pixel) / 255.0;
    if (alpha == 0.0) {
        return 0;
    }
    std::array<double, 3> c = {Red(pixel) / 255.0 / alpha, Green(pixel) / 255.0 / alpha,
                               Blue(pixel) / 255.0 / alpha};
    for (int i = 0; i < 3; ++i) {
        c[i] /= a.white[i];           // white point
        c[i] *= std::pow(2.0, a.ev);  // exposure
    }
    double const luma = 0.2125 * c[0] + 0.7154 * c[1] + 0.0721 * c[2];
    uint32_t result = uint32_t(Alpha(pixel)) << 24;
    for (int i = 0; i < 3; ++i) {
        double v = luma + a.saturation * (c[i] - luma);
        v += a.brightness;
        v = (v - 0.5) * a.contrast + 0.5;
        long const byte = std::lround(std::clamp(v * alpha * 255.0, 0.0, alpha * 255.0));
        result |= uint32_t(byte) << (16 - 8 * i);
    }
    return result;
}

class ReferenceKernels : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override { CISetForceReferenceKernels(GetParam()); }
    void TearDown() override { CISetForceReferenceKernels(false); }
};

uint32_t Filtered(char const* name, char const* key, QVariant const& value, uint32_t pixel) {
    Picture const one(1, 1, pixel);
    auto filter = CIFilter::filterWithName(name);
    filter->setDefaults();
    filter->setValue(one.image(), "inputImage");
    filter->setValue(value, key);
    return Render(filter->outputImage(), 0, 0, 1, 1).at(0, 0);
}

}  // namespace

TEST_P(ReferenceKernels, EachColourFilterGivesItsDocumentedValues) {
    // Exposure: one stop doubles, saturating at alpha; a half-transparent pixel stays valid.
    EXPECT_EQ(Filtered("CIExposureAdjust", "inputEV", 1.0, Pixel(255, 100, 200, 0)),
              Pixel(255, 200, 255, 0));
    EXPECT_EQ(Filtered("CIExposureAdjust", "inputEV", 1.0, Pixel(128, 50, 100, 0)),
              Pixel(128, 100, 128, 0));
    EXPECT_EQ(Filtered("CIExposureAdjust", "inputEV", -2.0, Pixel(255, 100, 200, 40)),
              Pixel(255, 25, 50, 10));
    // White point: the given colour becomes white.
    EXPECT_EQ(Filtered("CIWhitePointAdjust", "inputColor",
                       QVariant::fromValue(CIColor::colorWithRed(0.5, 1.0, 0.8)),
                       Pixel(255, 100, 100, 100)),
              Pixel(255, 200, 100, 125));
    // Saturation 0: the Rec. 709 luma of pure red, 0.2125 * 255 = 54.2.
    EXPECT_EQ(Filtered("CIColorControls", "inputSaturation", 0.0, Pixel(255, 255, 0, 0)),
              Pixel(255, 54, 54, 54));
    // Brightness adds: 0.2 * 255 = 51.
    EXPECT_EQ(Filtered("CIColorControls", "inputBrightness", 0.2, Pixel(255, 0, 100, 250)),
              Pixel(255, 51, 151, 255));
    // Contrast about the middle: 1.5 c - 63.75.
    EXPECT_EQ(Filtered("CIColorControls", "inputContrast", 1.5, Pixel(255, 100, 200, 20)),
              Pixel(255, 86, 236, 0));
    // A transparent pixel stays transparent whatever the brightness.
    EXPECT_EQ(Filtered("CIColorControls", "inputBrightness", 0.5, 0u), 0u);
}

TEST_P(ReferenceKernels, FusedChainMatchesTheFilterByFilterReference) {
    Picture const source = RandomPicture(67, 13, 21, false);
    Adjustment const adjustments[] = {
        {{0.9, 0.8, 1.0}, 0.4, 1.3, 0.05, 1.2},
        {{1.0, 0.6, 0.7}, -0.7, 0.2, -0.1, 0.6},
        {{0.5, 1.0, 1.0}, 1.5, 1.9, 0.3, 3.0},
        {{1.0, 1.0, 1.0}, 0.0, 0.0, -0.4, 1.0},
    };
    for (Adjustment const& a : adjustments) {
        CIImage const adjusted = AdjustByFilters(source.image(), a);
        // The three filters are one colour map over the source: one pass.
        EXPECT_EQ(adjusted.description().count("colorMatrix("), 1);
        EXPECT_TRUE(adjusted.description().endsWith("source(67x13))"))
            << adjusted.description().toStdString();

        Picture const out = Render(adjusted);
        Picture expected(67, 13);
        for (size_t i = 0; i < expected.pixels.size(); ++i) {
            expected.pixels[i] = AdjustPixelReference(source.pixels[i], a);
        }
        EXPECT_LE(MaxByteDifference(out, expected), 1) << "EV " << a.ev;
    }
}

TEST_P(ReferenceKernels, MirrorAndCropAfterTheColourStagesStayOnePass) {
    Picture const source = RandomPicture(64, 48, 22, true);
    Adjustment const a = {{0.9, 1.0, 0.95}, 0.3, 1.2, 0.02, 1.1};
    CIImage const colour = AdjustByFilters(source.image(), a);
    QTransform mirror;
    mirror.translate(64, 0);
    mirror.scale(-1, 1);
    auto transform = CIFilter::filterWithName("CIAffineTransform");
    transform->setValue(colour, "inputImage");
    transform->setValue(mirror, "inputTransform");
    auto crop = CIFilter::filterWithName("CICrop");
    crop->setValue(transform->outputImage(), "inputImage");
    crop->setValue(CIVector::vectorWithX(8, 4, 40, 30), "inputRectangle");
    CIImage const stack = crop->outputImage();
    EXPECT_TRUE(stack.description().startsWith("crop(8,4 40x30, colorMatrix("))
        << stack.description().toStdString();

    Picture const colourOnly = Render(colour);
    Picture const out = Render(stack);
    ASSERT_EQ(out.width, 40);
    for (int y = 0; y < 30; ++y) {
        for (int x = 0; x < 40; ++x) {
            ASSERT_EQ(out.at(x, y), colourOnly.at(63 - (x + 8), y + 4));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kernels, ReferenceKernels, ::testing::Values(false, true),
                         [](auto const& info) { return info.param ? "Reference" : "SIMD"; });

TEST(CIColorMatrixRow, ReferenceGivesKnownValues) {
    // Red and blue exchanged, green halved, blue biased by 0.1 (times alpha).
    CIColorMatrix const matrix =
        CIColorMatrix::fromRows({0, 0, 1, 0}, {0, 0.5, 0, 0}, {1, 0, 0, 0.1});
    CIColorMatrixRowCoefficients const coefficients = CIColorMatrixRowCoefficientsFrom(matrix);
    uint32_t const in[2] = {Pixel(255, 10, 101, 200), Pixel(100, 90, 80, 0)};
    uint32_t out[2];
    CIColorMatrixRow_C(in, out, 2, coefficients);
    EXPECT_EQ(out[0], Pixel(255, 200, 50, 36));  // 50.5 rounds to even; 10 + 25.5 -> 36
    EXPECT_EQ(out[1], Pixel(100, 0, 40, 100));   // 90 + 10 clamps to alpha
}

TEST(CIColorMatrixRow, SIMDMatchesReferenceByteForByte) {
    if (!CIUseSSE2Kernels()) {
        GTEST_SKIP() << "no SSE2 kernels on this machine";
    }
    std::mt19937 rng(31);
    CIColorMatrix const matrices[] = {
        CIColorMatrix::scale(1.7, 0.3, 1024.0),
        CIColorMatrix::fromRows({0.3, 0.59, 0.11, -0.2}, {-1.5, 2.0, 0.25, 0.5},
                                {0.0, 0.0, 0.8, 0.1}),
    };
    std::vector<int> widths;
    for (int w = 1; w <= 40; ++w) {
        widths.push_back(w);
    }
    widths.insert(widths.end(), {640, 641, 1023});
    for (CIColorMatrix const& matrix : matrices) {
        CIColorMatrixRowCoefficients const coefficients = CIColorMatrixRowCoefficientsFrom(matrix);
        for (int width : widths) {
            for (int offset : {0, 1}) {  // an unaligned start
                // Each buffer ends exactly where the row does, so an over-read shows under ASan.
                std::vector<uint32_t> in(size_t(width + offset));
                for (uint32_t& p : in) {
                    p = RandomPixel(rng, rng() % 2 == 0);
                }
                std::vector<uint32_t> simd(size_t(width + offset));
                std::vector<uint32_t> reference(size_t(width + offset));
                CIColorMatrixRow_SSE2(in.data() + offset, simd.data() + offset, width & ~3,
                                      coefficients);
                CIColorMatrixRow_C(in.data() + offset + (width & ~3),
                                   simd.data() + offset + (width & ~3), width & 3, coefficients);
                CIColorMatrixRow_C(in.data() + offset, reference.data() + offset, width,
                                   coefficients);
                ASSERT_EQ(simd, reference) << "width " << width << " offset " << offset;
            }
        }
    }
}

TEST(CIBilinearRow, SIMDMatchesReferenceByteForByte) {
    if (!CIUseSSE2Kernels()) {
        GTEST_SKIP() << "no SSE2 kernels on this machine";
    }
    std::mt19937 rng(32);
    for (int columns : {1, 2, 7, 640}) {
        // The rows end where the columns do, so a read past the last column shows under ASan.
        std::vector<uint32_t> row0(static_cast<size_t>(columns)),
            row1(static_cast<size_t>(columns));
        for (size_t i = 0; i < row0.size(); ++i) {
            row0[i] = RandomPixel(rng, false);
            row1[i] = RandomPixel(rng, false);
        }
        for (int64_t step : {int64_t{65536}, int64_t{43690}, int64_t{100000}, int64_t{-30000}}) {
            int const width = 2 * columns + 3;
            // Starts before the first column, so the held edges are exercised too.
            CIBilinearSpan const span{step > 0 ? -70000 : (int64_t{columns} << 16) + 5000, step, 0,
                                      columns - 1, uint32_t(rng() % 256)};
            std::vector<uint32_t> simd(static_cast<size_t>(width)),
                reference(static_cast<size_t>(width));
            CIBilinearRow_SSE2(row0.data(), row1.data(), simd.data(), width, span);
            CIBilinearRow_C(row0.data(), row1.data(), reference.data(), width, span);
            ASSERT_EQ(simd, reference) << "columns " << columns << " step " << step;
        }
    }
}

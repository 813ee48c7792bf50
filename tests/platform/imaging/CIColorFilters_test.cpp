// The colour filters' arithmetic against per-pixel references of what each states, the fused
// colour pass against the same filters rendered one by one, and the colour-map row kernel's
// SIMD forms against its reference.

#include <array>
#include <cmath>

#include <QTransform>

#include <gtest/gtest.h>

#include "platform/imaging/CIColorMap.h"
#include "platform/imaging/CIFilter.h"
#include "platform/imaging/CIPixelKernels.h"
#include "tests/platform/imaging/ImagingTestSupport.h"

using namespace ImagingTest;

namespace {

struct Adjustment {
    std::array<double, 3> white;
    double ev;
    double saturation;
    double brightness;
    double contrast;
};

Adjustment const kNeutral = {{1, 1, 1}, 0, 1, 0, 1};

std::vector<std::unique_ptr<CIFilter>> ColourStages(Adjustment const& a) {
    std::vector<std::unique_ptr<CIFilter>> stages;
    for (char const* name : {"CIWhitePointAdjust", "CIExposureAdjust", "CIColorControls"}) {
        stages.push_back(CIFilter::filterWithName(name));
        stages.back()->setDefaults();
    }
    stages[0]->setValue(CIColor::colorWithRed(a.white[0], a.white[1], a.white[2]), "inputColor");
    stages[1]->setValue(a.ev, "inputEV");
    stages[2]->setValue(a.saturation, "inputSaturation");
    stages[2]->setValue(a.brightness, "inputBrightness");
    stages[2]->setValue(a.contrast, "inputContrast");
    return stages;
}

// The three stages chained output to input, as the camera adjustment stack does; with
// `renderEach`, each stage's output is rendered to pixels before the next takes it.
CIImage Adjust(Picture const& source, Adjustment const& a, bool renderEach,
               std::vector<Picture>& keep) {
    auto const stages = ColourStages(a);
    CIImage image = source.image();
    for (auto const& stage : stages) {
        stage->setValue(image, "inputImage");
        image = stage->outputImage();
        if (renderEach) {
            keep.push_back(Render(image));
            image = keep.back().image();
        }
    }
    return image;
}

double Decode(double c) { return CISRGBToLinear(c); }
double Encode(double c) { return CILinearToSRGB(c); }

// One pixel through the stated formulas, filter after filter (each clipping at white), in
// double on unpremultiplied colour.
uint32_t AdjustPixelReference(uint32_t pixel, Adjustment const& a) {
    double const alpha = Alpha(pixel) / 255.0;
    if (alpha == 0.0) {
        return 0;
    }
    std::array<double, 3> c = {Red(pixel) / 255.0 / alpha, Green(pixel) / 255.0 / alpha,
                               Blue(pixel) / 255.0 / alpha};
    for (int i = 0; i < 3; ++i) {
        double const reference = Decode(std::clamp(a.white[i], 1.0 / 255.0, 1.0));
        double const balanced = std::min(1.0, Decode(c[i]) / reference);
        c[i] = Encode(std::min(1.0, balanced * std::exp2(a.ev)));
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

Picture ReferencePicture(Picture const& source, Adjustment const& a) {
    Picture expected(source.width, source.height);
    for (size_t i = 0; i < expected.pixels.size(); ++i) {
        expected.pixels[i] = AdjustPixelReference(source.pixels[i], a);
    }
    return expected;
}

class ReferenceKernels : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override { CISetForceReferenceKernels(GetParam()); }
    void TearDown() override { CISetForceReferenceKernels(false); }
};

}  // namespace

TEST_P(ReferenceKernels, EachFilterComputesWhatItStates) {
    std::vector<Picture> keep;
    // Each stage alone, on opaque and half-transparent pixels.
    Adjustment const single[] = {
        {{1, 1, 1}, 1.0, 1, 0, 1},  {{1, 1, 1}, -1.5, 1, 0, 1}, {{0.8, 0.6, 0.4}, 0, 1, 0, 1},
        {{1, 1, 1}, 0, 0.0, 0, 1},  {{1, 1, 1}, 0, 1.8, 0, 1},  {{1, 1, 1}, 0, 1, 0.2, 1},
        {{1, 1, 1}, 0, 1, -0.3, 1}, {{1, 1, 1}, 0, 1, 0, 1.6},  {{1, 1, 1}, 0, 1, 0, 0.4},
    };
    for (bool opaque : {true, false}) {
        Picture const source = RandomPicture(37, 5, opaque ? 11 : 12, opaque);
        for (Adjustment const& a : single) {
            Picture const out = Render(Adjust(source, a, false, keep));
            EXPECT_LE(MaxByteDifference(out, ReferencePicture(source, a)), 1)
                << "EV " << a.ev << " white " << a.white[0] << " saturation " << a.saturation
                << " brightness " << a.brightness << " contrast " << a.contrast;
        }
    }
    // Anchors a photographer can check by hand. +1 EV on mid grey: sRGB 128 is 21.6% light,
    // doubled 43.2%, which encodes to 176 (a multiply of the byte would give 255 or 256).
    Picture const grey(1, 1, Pixel(255, 128, 128, 128));
    EXPECT_EQ(Render(Adjust(grey, {{1, 1, 1}, 1.0, 1, 0, 1}, false, keep)).at(0, 0),
              Pixel(255, 176, 176, 176));
    // A grey card picked in a warm picture: the picked colour turns white, so neutral.
    Picture const card(1, 1, Pixel(255, 200, 160, 120));
    EXPECT_EQ(
        Render(Adjust(card, {{200 / 255.0, 160 / 255.0, 120 / 255.0}, 0, 1, 0, 1}, false, keep))
            .at(0, 0),
        Pixel(255, 255, 255, 255));
}

TEST_P(ReferenceKernels, FusedPassMatchesTheFiltersOneByOne) {
    Picture const source = RandomPicture(67, 13, 21, false);
    Adjustment const adjustments[] = {
        {{0.9, 0.8, 1.0}, 0.4, 1.3, 0.05, 1.2},
        {{1.0, 0.6, 0.7}, -0.7, 0.2, -0.1, 0.6},
        {{0.5, 1.0, 1.0}, 1.5, 1.9, 0.3, 3.0},
        {{1.0, 1.0, 1.0}, 0.0, 0.0, -0.4, 1.0},
    };
    for (Adjustment const& a : adjustments) {
        std::vector<Picture> keep;
        CIImage const fused = Adjust(source, a, false, keep);
        // The three filters are one colour map over the source: one pass.
        EXPECT_EQ(fused.description().count("colorMap("), 1) << fused.description().toStdString();
        EXPECT_TRUE(fused.description().endsWith("source(67x13))"));
        Picture const out = Render(fused);
        EXPECT_LE(MaxByteDifference(out, ReferencePicture(source, a)), 1) << "EV " << a.ev;
        // Rendering each stage to bytes first only adds the rounding of the steps between.
        Picture const oneByOne = Render(Adjust(source, a, true, keep));
        EXPECT_LE(MaxByteDifference(out, oneByOne), a.contrast > 2 ? 6 : 3) << "EV " << a.ev;
    }
    // Neutral stages leave no colour pass at all.
    std::vector<Picture> keep;
    EXPECT_EQ(Adjust(source, kNeutral, false, keep).description(), "source(67x13)");
}

TEST_P(ReferenceKernels, MirrorAndCropAfterTheColourStagesStayOnePass) {
    Picture const source = RandomPicture(64, 48, 22, true);
    std::vector<Picture> keep;
    CIImage const colour = Adjust(source, {{0.9, 1.0, 0.95}, 0.3, 1.2, 0.02, 1.1}, false, keep);
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
    EXPECT_TRUE(stack.description().startsWith("crop(8,4 40x30, colorMap("))
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

TEST(CIColorMapRow, ReferenceGivesKnownValues) {
    // Red and blue exchanged, green halved, blue biased by 0.1 (times alpha).
    CIColorMapRowCoefficients const coefficients = CIColorMapRowCoefficientsFrom(
        CIColorMap::matrix(CIColorMatrix::fromRows({0, 0, 1, 0}, {0, 0.5, 0, 0}, {1, 0, 0, 0.1})));
    uint32_t const in[2] = {Pixel(255, 10, 101, 200), Pixel(100, 90, 80, 0)};
    uint32_t out[2];
    CIColorMapRow_C(in, out, 2, coefficients);
    EXPECT_EQ(out[0], Pixel(255, 200, 50, 36));  // 50.5 rounds to even; 10 + 25.5 -> 36
    EXPECT_EQ(out[1], Pixel(100, 0, 40, 100));   // 90 + 10 clamps to alpha
}

TEST(CIColorMapRow, SIMDFormsMatchTheReferenceByteForByte) {
    using Row = void (*)(uint32_t const*, uint32_t*, int, CIColorMapRowCoefficients const&);
    struct Form {
        char const* name;
        Row row;
        int lanes;
        bool available;
    };
    Form const forms[] = {{"SSE2", CIColorMapRow_SSE2, 4, CIUseSSE2Kernels()},
                          {"AVX2", CIColorMapRow_AVX2, 8, CIUseAVX2Kernels()}};
    CIColorMap const maps[] = {
        CIColorMap::matrix(CIColorMatrix::scale(1.7, 0.3, 7.0)),
        CIColorMap::matrix(CIColorMatrix::fromRows({0.3, 0.59, 0.11, -0.2}, {-1.5, 2.0, 0.25, 0.5},
                                                   {0.0, 0.0, 0.8, 0.1})),
        *CIColorMap::linearGain(1.6, 0.7, 2.5)
             .followedBy(CIColorMap::matrix(
                 CIColorMatrix::fromRows({1.1, 0.1, 0, 0.05}, {0, 0.9, 0, 0}, {0, 0.2, 1.0, 0}))),
    };
    std::mt19937 rng(31);
    std::vector<int> widths;
    for (int w = 1; w <= 40; ++w) {
        widths.push_back(w);
    }
    widths.insert(widths.end(), {640, 641, 1023});
    for (Form const& form : forms) {
        if (!form.available) {
            continue;
        }
        for (CIColorMap const& map : maps) {
            CIColorMapRowCoefficients const coefficients = CIColorMapRowCoefficientsFrom(map);
            for (int width : widths) {
                for (int offset : {0, 1}) {  // an unaligned start
                    // Each buffer ends exactly where the row does: an over-read shows under
                    // ASan. Mostly opaque, as camera pictures are, with some that are not.
                    std::vector<uint32_t> in(size_t(width + offset));
                    for (uint32_t& p : in) {
                        p = RandomPixel(rng, rng() % 8 != 0);
                    }
                    std::vector<uint32_t> simd(in.size()), reference(in.size());
                    int const whole = width & ~(form.lanes - 1);
                    form.row(in.data() + offset, simd.data() + offset, whole, coefficients);
                    CIColorMapRow_C(in.data() + offset + whole, simd.data() + offset + whole,
                                    width - whole, coefficients);
                    CIColorMapRow_C(in.data() + offset, reference.data() + offset, width,
                                    coefficients);
                    ASSERT_EQ(simd, reference)
                        << form.name << " width " << width << " offset " << offset;
                }
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

TEST(CIAffineBilinearRow, SIMDMatchesReferenceByteForByte) {
    if (!CIUseSSE2Kernels()) {
        GTEST_SKIP() << "no SSE2 kernels on this machine";
    }
    std::mt19937 rng(33);
    struct Size {
        int columns, rows;
    };
    for (Size const size : {Size{1, 1}, Size{2, 3}, Size{7, 5}, Size{640, 4}}) {
        // The picture ends where its last row does, so a read past it shows under ASan; a
        // negative row step reads bottom-up memory.
        std::vector<uint32_t> pixels(static_cast<size_t>(size.columns) * size.rows);
        for (uint32_t& p : pixels) {
            p = RandomPixel(rng, false);
        }
        for (bool bottomUp : {false, true}) {
            std::ptrdiff_t const rowBytes = (bottomUp ? -4 : 4) * std::ptrdiff_t{size.columns};
            auto const* base = reinterpret_cast<unsigned char const*>(
                bottomUp ? pixels.data() + static_cast<size_t>(size.columns) * (size.rows - 1)
                         : pixels.data());
            // Steps of a small turn either way and of a steep one; starting outside, so the
            // held edges are exercised.
            for (auto const& [stepU, stepV] : {std::pair<int64_t, int64_t>{65500, 1700},
                                               {64000, -2500},
                                               {30000, 60000},
                                               {-40000, 9000}}) {
                int const width = 2 * size.columns + 3;
                CIAffineSpan const span{stepU > 0 ? -70000 : (int64_t{size.columns} << 16) + 5000,
                                        stepV > 0 ? -20000 : (int64_t{size.rows} << 16) + 3000,
                                        stepU,
                                        stepV,
                                        size.columns - 1,
                                        size.rows - 1};
                std::vector<uint32_t> simd(static_cast<size_t>(width)),
                    reference(static_cast<size_t>(width));
                CIAffineBilinearRow_SSE2(base, rowBytes, simd.data(), width, span);
                CIAffineBilinearRow_C(base, rowBytes, reference.data(), width, span);
                ASSERT_EQ(simd, reference) << size.columns << "x" << size.rows << " " << stepU;
            }
        }
    }
}

TEST(CIBlendRows, SIMDAndTheWholeColumnSpanMatchTheReference) {
    std::mt19937 rng(34);
    for (int width : {1, 3, 4, 5, 17, 640}) {
        // One pixel in, so the loads are unaligned; the rows end with the last pixel read.
        std::vector<uint32_t> row0(static_cast<size_t>(width) + 1),
            row1(static_cast<size_t>(width) + 1);
        for (size_t i = 0; i < row0.size(); ++i) {
            row0[i] = RandomPixel(rng, false);
            row1[i] = RandomPixel(rng, false);
        }
        for (uint32_t fy : {0u, 1u, 77u, 128u, 255u}) {
            std::vector<uint32_t> reference(static_cast<size_t>(width)), blended(reference),
                dispatched(reference);
            CIBilinearSpan const span{int64_t{1} << 16, int64_t{1} << 16, 0, width, fy};
            CIBilinearRow_C(row0.data(), row1.data(), reference.data(), width, span);
            CIBlendRows_C(row0.data() + 1, row1.data() + 1, blended.data(), width, fy);
            ASSERT_EQ(blended, reference) << width << " " << fy;
            CIBilinearRow(row0.data(), row1.data(), dispatched.data(), width, span);
            ASSERT_EQ(dispatched, reference) << width << " " << fy;
            if (CIUseSSE2Kernels() && width % 4 == 0) {
                CIBlendRows_SSE2(row0.data() + 1, row1.data() + 1, blended.data(), width, fy);
                ASSERT_EQ(blended, reference) << width << " " << fy;
            }
        }
    }
}

// The colour filters' arithmetic against per-pixel references of what each states, the fused
// colour pass against the same filters rendered one by one, and the row kernels' SIMD forms
// against their references.

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

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

// The three stages chained output to input, as the camera adjustment stack does; with
// `renderEach`, each stage's output is rendered to pixels before the next takes it.
CIImage Adjust(Picture const& source, Adjustment const& a, bool renderEach,
               std::vector<Picture>& keep) {
    std::unique_ptr<CIFilter> stages[] = {CIFilter::filterWithName("CIWhitePointAdjust"),
                                          CIFilter::filterWithName("CIExposureAdjust"),
                                          CIFilter::filterWithName("CIColorControls")};
    for (auto const& stage : stages) {
        stage->setDefaults();
    }
    stages[0]->setValue(CIColor::colorWithRed(a.white[0], a.white[1], a.white[2]), "inputColor");
    stages[1]->setValue(a.ev, "inputEV");
    stages[2]->setValue(a.saturation, "inputSaturation");
    stages[2]->setValue(a.brightness, "inputBrightness");
    stages[2]->setValue(a.contrast, "inputContrast");
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
        double const reference = CISRGBToLinear(std::clamp(a.white[i], 1.0 / 255.0, 1.0));
        double const balanced = std::min(1.0, CISRGBToLinear(c[i]) / reference);
        c[i] = CILinearToSRGB(std::min(1.0, balanced * std::exp2(a.ev)));
    }
    double const luma = 0.2125 * c[0] + 0.7154 * c[1] + 0.0721 * c[2];
    uint32_t result = uint32_t(Alpha(pixel)) << 24;
    for (int i = 0; i < 3; ++i) {
        // Saturation about the luma, then brightness added, then contrast about mid grey.
        double const v =
            (luma + a.saturation * (c[i] - luma) + a.brightness - 0.5) * a.contrast + 0.5;
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

}  // namespace

TEST_P(ReferenceKernels, EachFilterComputesWhatItStatesAndTheFusedPassMatchesThemOneByOne) {
    Adjustment const adjustments[] = {
        {{0.9, 0.8, 1.0}, 0.4, 1.3, 0.05, 1.2},
        {{1.0, 0.6, 0.7}, -0.7, 0.2, -0.1, 0.6},
        {{0.5, 1.0, 1.0}, 1.5, 1.9, 0.3, 3.0},
        {{1.0, 1.0, 1.0}, 0.0, 0.0, -0.4, 1.0},
    };
    for (bool opaque : {true, false}) {
        Picture const source = RandomPicture(67, 13, opaque ? 21 : 22, opaque);
        std::vector<Picture> keep;
        for (Adjustment const& a : adjustments) {
            SCOPED_TRACE(testing::Message() << "EV " << a.ev << " opaque " << opaque);
            CIImage const fused = Adjust(source, a, false, keep);
            // The three filters are one colour map over the source: one pass.
            EXPECT_EQ(fused.description().count("colorMap("), 1)
                << fused.description().toStdString();
            EXPECT_TRUE(fused.description().endsWith("source(67x13))"));
            Picture const out = Render(fused);
            Picture expected(67, 13);
            std::transform(source.pixels.begin(), source.pixels.end(), expected.pixels.begin(),
                           [&](uint32_t p) { return AdjustPixelReference(p, a); });
            EXPECT_LE(MaxByteDifference(out, expected), 1);
            // Rendering each stage to bytes first only adds the rounding of the steps between.
            Picture const oneByOne = Render(Adjust(source, a, true, keep));
            EXPECT_LE(MaxByteDifference(out, oneByOne), a.contrast > 2 ? 6 : 3);
        }
        // Neutral stages leave no colour pass at all.
        EXPECT_EQ(Adjust(source, {{1, 1, 1}, 0, 1, 0, 1}, false, keep).description(),
                  "source(67x13)");
    }
}

INSTANTIATE_TEST_SUITE_P(Kernels, ReferenceKernels, ::testing::Values(false, true),
                         [](auto const& info) { return info.param ? "Reference" : "SIMD"; });

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
    std::vector<int> widths(40);
    std::iota(widths.begin(), widths.end(), 1);
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

TEST(CIAffineBilinearRow, SIMDMatchesReferenceByteForByte) {
    if (!CIUseSSE2Kernels()) {
        GTEST_SKIP() << "no SSE2 kernels on this machine";
    }
    std::mt19937 rng(33);
    struct Size {
        int columns, rows;
    };
    // Steps of a small turn either way and of a steep one.
    struct Step {
        int64_t u, v;
    };
    Step const steps[] = {{65500, 1700}, {64000, -2500}, {30000, 60000}, {-40000, 9000}};
    for (Size const size : {Size{1, 1}, Size{2, 3}, Size{7, 5}, Size{640, 4}}) {
        // The picture ends where its last row does, so a read past it shows under ASan; a
        // negative row step reads bottom-up memory.
        std::vector<uint32_t> const pixels =
            RandomRow(rng, static_cast<size_t>(size.columns) * size.rows);
        for (bool bottomUp : {false, true}) {
            std::ptrdiff_t const rowBytes = (bottomUp ? -4 : 4) * std::ptrdiff_t{size.columns};
            auto const* base = reinterpret_cast<unsigned char const*>(
                bottomUp ? pixels.data() + static_cast<size_t>(size.columns) * (size.rows - 1)
                         : pixels.data());
            // Each run starts outside the picture, so the held edges are exercised.
            for (Step const step : steps) {
                int64_t const u = step.u > 0 ? -70000 : (int64_t{size.columns} << 16) + 5000;
                int64_t const v = step.v > 0 ? -20000 : (int64_t{size.rows} << 16) + 3000;
                CIAffineSpan const span{u, v, step.u, step.v, size.columns - 1, size.rows - 1};
                int const width = 2 * size.columns + 3;
                std::vector<uint32_t> simd(static_cast<size_t>(width)), reference(simd.size());
                CIAffineBilinearRow_SSE2(base, rowBytes, simd.data(), width, span);
                CIAffineBilinearRow_C(base, rowBytes, reference.data(), width, span);
                ASSERT_EQ(simd, reference) << size.columns << "x" << size.rows << " " << step.u;
            }
        }
    }
}

TEST(CIBilinearRow, SIMDBlendRowsAndTheDispatcherMatchTheReference) {
    bool const sse2 = CIUseSSE2Kernels();
    std::mt19937 rng(32);
    for (int columns : {1, 2, 3, 4, 5, 7, 17, 640}) {
        // One pixel in, so the loads are unaligned; the rows end with the last column, so a
        // read past it shows under ASan.
        std::vector<uint32_t> const row0 = RandomRow(rng, size_t(columns) + 1);
        std::vector<uint32_t> const row1 = RandomRow(rng, size_t(columns) + 1);
        uint32_t const* const r0 = row0.data() + 1;
        uint32_t const* const r1 = row1.data() + 1;
        // Steps up, down and backwards, starting outside the row so the held edges are used.
        for (int64_t step : {int64_t{65536}, int64_t{43690}, int64_t{100000}, int64_t{-30000}}) {
            int const width = 2 * columns + 3;
            CIBilinearSpan const span{step > 0 ? -70000 : (int64_t{columns} << 16) + 5000, step, 0,
                                      columns - 1, uint32_t(rng() % 256)};
            std::vector<uint32_t> reference(static_cast<size_t>(width)), simd(reference.size());
            CIBilinearRow_C(r0, r1, reference.data(), width, span);
            if (sse2) {
                CIBilinearRow_SSE2(r0, r1, simd.data(), width, span);
                ASSERT_EQ(simd, reference) << "columns " << columns << " step " << step;
            }
        }
        // Whole columns in place: only the rows are blended, by whichever form.
        for (uint32_t fy : {0u, 1u, 77u, 128u, 255u}) {
            CIBilinearSpan const span{0, int64_t{1} << 16, 0, columns - 1, fy};
            std::vector<uint32_t> reference(static_cast<size_t>(columns));
            CIBilinearRow_C(r0, r1, reference.data(), columns, span);
            std::vector<uint32_t> blended(size_t(columns), kMarker);
            CIBlendRows_C(r0, r1, blended.data(), columns, fy);
            ASSERT_EQ(blended, reference) << columns << " " << fy;
            blended.assign(size_t(columns), kMarker);
            CIBilinearRow(r0, r1, blended.data(), columns, span);
            ASSERT_EQ(blended, reference) << "dispatched " << columns << " " << fy;
            if (sse2 && columns % 4 == 0) {
                blended.assign(size_t(columns), kMarker);
                CIBlendRows_SSE2(r0, r1, blended.data(), columns, fy);
                ASSERT_EQ(blended, reference) << "SSE2 " << columns << " " << fy;
            }
        }
    }
}

#include "CocoaX/CIVIZStereoMuxKernel.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "platform/imaging/CIKernel.h"
#include "platform/imaging/CIPixelKernels.h"

namespace {

// Rec. 601 luma weights: the grey and half-colour anaglyphs show an eye as its brightness.
constexpr double kLuma[3] = {0.299, 0.587, 0.114};

void CopyMatrix(double const (&from)[3][3], double (&to)[3][3]) {
    std::memcpy(to, from, sizeof to);
}

}  // namespace

StereoAnaglyphMatrices StereoAnaglyphMatricesFor(CIVIZStereoFormat format) {
    StereoAnaglyphMatrices m{};
    switch (format) {
        case CIVIZStereoFormat::kGreenMagentaDubois:
            CopyMatrix(kStereoMuxGreenMagentaLeft, m.left);
            CopyMatrix(kStereoMuxGreenMagentaRight, m.right);
            break;
        case CIVIZStereoFormat::kAmberBlueDubois:
            CopyMatrix(kStereoMuxAmberBlueLeft, m.left);
            CopyMatrix(kStereoMuxAmberBlueRight, m.right);
            break;
        case CIVIZStereoFormat::kRedCyanHalfColour:
            // Red: the left eye's brightness; green and blue: the right eye's own.
            CopyMatrix({{kLuma[0], kLuma[1], kLuma[2]}, {}, {}}, m.left);
            CopyMatrix({{}, {0, 1, 0}, {0, 0, 1}}, m.right);
            break;
        case CIVIZStereoFormat::kRedCyanColour:
            CopyMatrix({{1, 0, 0}, {}, {}}, m.left);
            CopyMatrix({{}, {0, 1, 0}, {0, 0, 1}}, m.right);
            break;
        case CIVIZStereoFormat::kRedCyanGrey:
            CopyMatrix({{kLuma[0], kLuma[1], kLuma[2]}, {}, {}}, m.left);
            CopyMatrix({{}, {kLuma[0], kLuma[1], kLuma[2]}, {kLuma[0], kLuma[1], kLuma[2]}},
                       m.right);
            break;
        default:
            CopyMatrix(kStereoMuxDuboisLeft, m.left);
            CopyMatrix(kStereoMuxDuboisRight, m.right);
            break;
    }
    return m;
}

StereoMuxCoefficients StereoMuxCoefficientsFor(CIVIZStereoFormat format, float swapEyes) {
    double const s =
        swapEyes == swapEyes ? std::clamp(static_cast<double>(swapEyes), 0.0, 1.0) : 0.0;
    double const scale = 1 << kStereoMuxFractionBits;
    StereoAnaglyphMatrices const matrices = StereoAnaglyphMatricesFor(format);
    StereoMuxCoefficients coefficients{};
    for (int out = 0; out < 3; ++out) {
        for (int in = 0; in < 3; ++in) {
            double const left = matrices.left[out][in];
            double const right = matrices.right[out][in];
            coefficients.weights[out][in] =
                static_cast<int16_t>(std::lround(((1.0 - s) * left + s * right) * scale));
            coefficients.weights[out][3 + in] =
                static_cast<int16_t>(std::lround(((1.0 - s) * right + s * left) * scale));
        }
        for (int pair = 0; pair < 3; ++pair) {
            uint32_t const low = static_cast<uint16_t>(coefficients.weights[out][2 * pair]);
            uint32_t const high = static_cast<uint16_t>(coefficients.weights[out][2 * pair + 1]);
            coefficients.pairs[out][pair] = static_cast<int32_t>(low | (high << 16));
        }
    }
    return coefficients;
}

void StereoMuxRow_C(uint32_t const* right, uint32_t const* left, uint32_t* dst, int width,
                    StereoMuxCoefficients const& coefficients) {
    for (int i = 0; i < width; ++i) {
        uint32_t const l = left[i];
        uint32_t const r = right[i];
        int32_t const in[6] = {
            static_cast<int32_t>((l >> 16) & 0xFF), static_cast<int32_t>((l >> 8) & 0xFF),
            static_cast<int32_t>(l & 0xFF),         static_cast<int32_t>((r >> 16) & 0xFF),
            static_cast<int32_t>((r >> 8) & 0xFF),  static_cast<int32_t>(r & 0xFF)};
        int32_t const alpha = static_cast<int32_t>(std::max(l >> 24, r >> 24));
        uint32_t result = static_cast<uint32_t>(alpha) << 24;
        for (int out = 0; out < 3; ++out) {
            int32_t sum = 1 << (kStereoMuxFractionBits - 1);
            for (int k = 0; k < 6; ++k) {
                sum += in[k] * coefficients.weights[out][k];
            }
            int32_t const value = std::clamp(sum >> kStereoMuxFractionBits, 0, alpha);
            result |= static_cast<uint32_t>(value) << (16 - 8 * out);  // red, green, blue
        }
        dst[i] = result;
    }
}

void StereoMuxRow(uint32_t const* right, uint32_t const* left, uint32_t* dst, int width,
                  StereoMuxCoefficients const& coefficients) {
    int done = 0;
#if defined(CI_HAVE_AVX2)
    if (CIUseAVX2Kernels()) {
        done = width & ~15;
        StereoMuxRow_AVX2(right, left, dst, done, coefficients);
    }
#endif
#if defined(CI_HAVE_SSE2)
    if (CIUseSSE2Kernels()) {
        int const count = (width - done) & ~7;
        StereoMuxRow_SSE2(right + done, left + done, dst + done, count, coefficients);
        done += count;
    }
#endif
    StereoMuxRow_C(right + done, left + done, dst + done, width - done, coefficients);
}

void StereoMuxKernelRoutine(CIKernelRow const& row) {
    // Every row of a frame carries the same swap value and format: their weights are made at
    // the first row and kept while they stay (per thread, as rows may be rendered on several).
    thread_local float tCachedNumbers[2] = {0.0f, 0.0f};
    thread_local bool tCached = false;
    thread_local StereoMuxCoefficients tCoefficients{};
    if (!tCached || std::memcmp(row.numbers, tCachedNumbers, sizeof tCachedNumbers) != 0) {
        tCoefficients =
            StereoMuxCoefficientsFor(CIVIZStereoFormatFromNumber(row.numbers[1]), row.numbers[0]);
        std::memcpy(tCachedNumbers, row.numbers, sizeof tCachedNumbers);
        tCached = true;
    }
    StereoMuxRow(row.samplers[0], row.samplers[1], row.out, row.count, tCoefficients);
}

#include "CocoaX/CIVIZStereoMuxKernel.h"

#include <algorithm>
#include <cmath>

#include "platform/imaging/CIKernel.h"
#include "platform/imaging/CIPixelKernels.h"

StereoMuxCoefficients StereoMuxCoefficientsForSwap(float swapEyes) {
    double const s =
        swapEyes == swapEyes ? std::clamp(static_cast<double>(swapEyes), 0.0, 1.0) : 0.0;
    double const scale = 1 << kStereoMuxFractionBits;
    StereoMuxCoefficients coefficients{};
    for (int out = 0; out < 3; ++out) {
        for (int in = 0; in < 3; ++in) {
            double const left = kStereoMuxDuboisLeft[out][in];
            double const right = kStereoMuxDuboisRight[out][in];
            coefficients.weights[out][in] =
                static_cast<int16_t>(std::lround(((1.0 - s) * left + s * right) * scale));
            coefficients.weights[out][3 + in] =
                static_cast<int16_t>(std::lround(((1.0 - s) * right + s * left) * scale));
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
#if defined(CI_HAVE_SSE2)
    if (CIUseSSE2Kernels()) {
        done = width & ~7;
        StereoMuxRow_SSE2(right, left, dst, done, coefficients);
    }
#endif
    StereoMuxRow_C(right + done, left + done, dst + done, width - done, coefficients);
}

void StereoMuxKernelRoutine(CIKernelRow const& row) {
    StereoMuxRow(row.samplers[0], row.samplers[1], row.out, row.count,
                 StereoMuxCoefficientsForSwap(row.numbers[0]));
}

#include "CocoaX/CIVIZStereoMuxKernel.h"

#include <algorithm>
#include <cmath>
#include <cstring>

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
    // Every row of a frame carries the same swap value: its weights are made at the first
    // row and kept while the value stays (per thread, as rows may be rendered on several).
    thread_local float tCachedSwap = 0.0f;
    thread_local bool tCached = false;
    thread_local StereoMuxCoefficients tCoefficients{};
    float const swap = row.numbers[0];
    if (!tCached || std::memcmp(&swap, &tCachedSwap, sizeof swap) != 0) {
        tCoefficients = StereoMuxCoefficientsForSwap(swap);
        tCachedSwap = swap;
        tCached = true;
    }
    StereoMuxRow(row.samplers[0], row.samplers[1], row.out, row.count, tCoefficients);
}

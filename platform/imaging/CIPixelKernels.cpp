#include "platform/imaging/CIPixelKernels.h"

#include <algorithm>
#include <cmath>

#include "platform/imaging/CIColorMatrix.h"

namespace {

bool sForceReference = false;

bool CPUHasSSE2() {
#if defined(CI_HAVE_SSE2)
    static bool const sHas = __builtin_cpu_supports("sse2");
    return sHas;
#else
    return false;
#endif
}

// Keeps weights finite, so that a huge exposure saturates instead of making NaNs.
float BoundedWeight(double weight) {
    if (!(weight == weight)) {
        return 0.0f;
    }
    return static_cast<float>(std::clamp(weight, -65536.0, 65536.0));
}

}  // namespace

void CISetForceReferenceKernels(bool force) { sForceReference = force; }

bool CIUseSSE2Kernels() { return !sForceReference && CPUHasSSE2(); }

CIColorMatrixRowCoefficients CIColorMatrixRowCoefficientsFrom(CIColorMatrix const& matrix) {
    // Matrix rows and columns are r, g, b; memory order is b, g, r.
    static int const kChannel[3] = {2, 1, 0};
    CIColorMatrixRowCoefficients coefficients{};
    for (int out = 0; out < 3; ++out) {
        for (int in = 0; in < 3; ++in) {
            coefficients.weights[out][in] = BoundedWeight(matrix.at(kChannel[out], kChannel[in]));
        }
        coefficients.weights[out][3] = BoundedWeight(matrix.at(kChannel[out], 3));
    }
    return coefficients;
}

void CIColorMatrixRow_C(uint32_t const* src, uint32_t* dst, int width,
                        CIColorMatrixRowCoefficients const& matrix) {
    for (int i = 0; i < width; ++i) {
        uint32_t const pixel = src[i];
        float const in[4] = {
            static_cast<float>(pixel & 0xFF), static_cast<float>((pixel >> 8) & 0xFF),
            static_cast<float>((pixel >> 16) & 0xFF), static_cast<float>(pixel >> 24)};
        uint32_t result = pixel & 0xFF000000u;
        for (int out = 0; out < 3; ++out) {
            float const* w = matrix.weights[out];
            // Same operations in the same order as the SIMD form, so both round alike.
            float value = w[0] * in[0];
            value = value + w[1] * in[1];
            value = value + w[2] * in[2];
            value = value + w[3] * in[3];
            value = value > 0.0f ? value : 0.0f;
            value = value < in[3] ? value : in[3];
            result |= static_cast<uint32_t>(std::nearbyint(value)) << (8 * out);
        }
        dst[i] = result;
    }
}

void CIBilinearRow_C(uint32_t const* row0, uint32_t const* row1, uint32_t* dst, int width,
                     CIBilinearSpan const& span) {
    int64_t const first = int64_t{span.firstColumn} << 16;
    int64_t const last = int64_t{span.lastColumn} << 16;
    uint32_t const fy = span.fy;
    int64_t u = span.u;
    for (int i = 0; i < width; ++i, u += span.stepU) {
        int64_t const held = std::clamp(u, first, last);
        int const x0 = static_cast<int>(held >> 16);
        int const x1 = std::min(x0 + 1, span.lastColumn);
        uint32_t const fx = static_cast<uint32_t>(held >> 8) & 0xFF;
        uint32_t result = 0;
        for (int shift = 0; shift < 32; shift += 8) {
            auto const byte = [shift](uint32_t p) { return (p >> shift) & 0xFF; };
            uint32_t const left = (byte(row0[x0]) * (256 - fy) + byte(row1[x0]) * fy + 128) >> 8;
            uint32_t const right = (byte(row0[x1]) * (256 - fy) + byte(row1[x1]) * fy + 128) >> 8;
            result |= ((left * (256 - fx) + right * fx + 128) >> 8) << shift;
        }
        dst[i] = result;
    }
}

void CIBilinearRow(uint32_t const* row0, uint32_t const* row1, uint32_t* dst, int width,
                   CIBilinearSpan const& span) {
    if (CIUseSSE2Kernels()) {
        CIBilinearRow_SSE2(row0, row1, dst, width, span);
    } else {
        CIBilinearRow_C(row0, row1, dst, width, span);
    }
}

void CIColorMatrixRow(uint32_t const* src, uint32_t* dst, int width,
                      CIColorMatrixRowCoefficients const& matrix) {
    int done = 0;
    if (CIUseSSE2Kernels()) {
        done = width & ~3;
        CIColorMatrixRow_SSE2(src, dst, done, matrix);
    }
    CIColorMatrixRow_C(src + done, dst + done, width - done, matrix);
}

#include "platform/imaging/CIPixelKernels.h"

#include <algorithm>
#include <cmath>

#include "platform/imaging/CIColorMap.h"
#include "platform/imaging/CIColorMapPixel.h"

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

bool CPUHasAVX2() {
#if defined(CI_HAVE_AVX2)
    static bool const sHas = __builtin_cpu_supports("avx2");
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

bool CIUseAVX2Kernels() { return !sForceReference && CPUHasAVX2(); }

CIColorMapRowCoefficients CIColorMapRowCoefficientsFrom(CIColorMap const& map) {
    // Matrix rows and columns are r, g, b; memory order is b, g, r.
    static int const kChannel[3] = {2, 1, 0};
    CIColorMapRowCoefficients coefficients{};
    CIColorMatrix const& matrix = map.colorMatrix();
    for (int out = 0; out < 3; ++out) {
        for (int in = 0; in < 3; ++in) {
            coefficients.weights[out][in] = BoundedWeight(matrix.at(kChannel[out], kChannel[in]));
        }
        coefficients.weights[out][3] = BoundedWeight(matrix.at(kChannel[out], 3));
    }
    coefficients.hasTone = map.hasLinearGain();
    if (coefficients.hasTone) {
        for (int channel = 0; channel < 3; ++channel) {
            double const gain = map.gain()[kChannel[channel]];
            double const ceiling = std::min(1.0, map.ceiling()[kChannel[channel]]);
            for (int value = 0; value < 256; ++value) {
                double const linear = std::min(ceiling, gain * CISRGBToLinear(value / 255.0));
                coefficients.tone[channel][value] =
                    static_cast<float>(255.0 * CILinearToSRGB(std::max(0.0, linear)));
            }
        }
    }
    return coefficients;
}

void CIColorMapRow_C(uint32_t const* src, uint32_t* dst, int width,
                     CIColorMapRowCoefficients const& map) {
    for (int i = 0; i < width; ++i) {
        dst[i] = CIColorMapPixel(src[i], map);
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

void CIAffineBilinearRow_C(unsigned char const* base, std::ptrdiff_t rowBytes, uint32_t* dst,
                           int width, CIAffineSpan const& span) {
    int64_t u = span.u;
    int64_t v = span.v;
    for (int i = 0; i < width; ++i, u += span.stepU, v += span.stepV) {
        CIAffineTap const tap = CIAffineTapAt(base, rowBytes, span, u, v);
        uint32_t const fx = tap.fx;
        uint32_t const fy = tap.fy;
        uint32_t result = 0;
        for (int shift = 0; shift < 32; shift += 8) {
            auto const byte = [shift](uint32_t p) { return (p >> shift) & 0xFF; };
            uint32_t const top =
                (byte(tap.row0[tap.x0]) * (256 - fx) + byte(tap.row0[tap.x1]) * fx + 128) >> 8;
            uint32_t const bottom =
                (byte(tap.row1[tap.x0]) * (256 - fx) + byte(tap.row1[tap.x1]) * fx + 128) >> 8;
            result |= ((top * (256 - fy) + bottom * fy + 128) >> 8) << shift;
        }
        dst[i] = result;
    }
}

void CIAffineBilinearRow(unsigned char const* base, std::ptrdiff_t rowBytes, uint32_t* dst,
                         int width, CIAffineSpan const& span) {
    if (CIUseSSE2Kernels()) {
        CIAffineBilinearRow_SSE2(base, rowBytes, dst, width, span);
    } else {
        CIAffineBilinearRow_C(base, rowBytes, dst, width, span);
    }
}

void CIBlendRows_C(uint32_t const* row0, uint32_t const* row1, uint32_t* dst, int width,
                   uint32_t fy) {
    for (int i = 0; i < width; ++i) {
        uint32_t result = 0;
        for (int shift = 0; shift < 32; shift += 8) {
            uint32_t const top = (row0[i] >> shift) & 0xFF;
            uint32_t const bottom = (row1[i] >> shift) & 0xFF;
            result |= ((top * (256 - fy) + bottom * fy + 128) >> 8) << shift;
        }
        dst[i] = result;
    }
}

void CIBilinearRow(uint32_t const* row0, uint32_t const* row1, uint32_t* dst, int width,
                   CIBilinearSpan const& span) {
    // Whole columns one after another, all inside the row: the column blend has weight 0
    // (and rounds back to the row blend), so only the rows blend, four pixels at a time.
    int64_t constexpr kColumn = int64_t{1} << 16;
    if (span.stepU == kColumn && (span.u & (kColumn - 1)) == 0 && width > 0 &&
        span.u >= int64_t{span.firstColumn} * kColumn &&
        span.u + int64_t{width - 1} * kColumn <= int64_t{span.lastColumn} * kColumn) {
        int const x = static_cast<int>(span.u >> 16);
        int done = 0;
        if (CIUseSSE2Kernels()) {
            done = width & ~3;
            CIBlendRows_SSE2(row0 + x, row1 + x, dst, done, span.fy);
        }
        CIBlendRows_C(row0 + x + done, row1 + x + done, dst + done, width - done, span.fy);
        return;
    }
    if (CIUseSSE2Kernels()) {
        CIBilinearRow_SSE2(row0, row1, dst, width, span);
    } else {
        CIBilinearRow_C(row0, row1, dst, width, span);
    }
}

void CIColorMapRow(uint32_t const* src, uint32_t* dst, int width,
                   CIColorMapRowCoefficients const& map) {
    int done = 0;
    if (CIUseAVX2Kernels()) {
        done = width & ~7;
        CIColorMapRow_AVX2(src, dst, done, map);
    }
    if (CIUseSSE2Kernels()) {
        int const more = (width - done) & ~3;
        CIColorMapRow_SSE2(src + done, dst + done, more, map);
        done += more;
    }
    CIColorMapRow_C(src + done, dst + done, width - done, map);
}

// SSE2 row kernels: 16 bytes a step, tails by the _C kernels. Loads and stores are unaligned
// ones, which cost nothing extra on aligned rows and keep the kernels safe on any pointer.
// Built with -msse2 and -ffp-contract=off, so the float kernels round as the _C ones do.

#include <emmintrin.h>

#include "CoreX/XFrameRowKernels.h"

namespace {

inline __m128i Load(uint8_t const* p) {
    return _mm_loadu_si128(reinterpret_cast<__m128i const*>(p));
}

inline void Store(uint8_t* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

inline __m128i AbsDiff(__m128i a, __m128i b) {
    return _mm_or_si128(_mm_subs_epu8(a, b), _mm_subs_epu8(b, a));
}

// Four 32-bit floats, already within 0..255 or NaN, to four saturated bytes in the low word.
inline __m128i SaturatedInt32(__m128 v) {
    v = _mm_min_ps(_mm_max_ps(v, _mm_setzero_ps()), _mm_set1_ps(255.0f));  // NaN -> 0
    return _mm_cvttps_epi32(v);
}

inline __m128 BytesToFloats(__m128i fourBytes) {
    __m128i const zero = _mm_setzero_si128();
    return _mm_cvtepi32_ps(_mm_unpacklo_epi16(_mm_unpacklo_epi8(fourBytes, zero), zero));
}

inline __m128i LoadPixel(uint8_t const* p) {
    int32_t value;
    __builtin_memcpy(&value, p, 4);
    return _mm_cvtsi32_si128(value);
}

void AverageRound_SSE2(uint8_t const* a, uint8_t const* b, uint8_t* dst, int32_t bytes) {
    int32_t i = 0;
    for (; i + 16 <= bytes; i += 16) {
        Store(dst + i, _mm_avg_epu8(Load(a + i), Load(b + i)));
    }
    XFrameRow_AverageRound_C(a + i, b + i, dst + i, bytes - i);
}

void BlendTypeA_SSE2(uint8_t const* above, uint8_t const* row, uint8_t const* below, uint8_t* dst,
                     int32_t bytes) {
    int32_t i = 0;
    for (; i + 16 <= bytes; i += 16) {
        __m128i const outer = _mm_avg_epu8(Load(above + i), Load(below + i));
        Store(dst + i, _mm_avg_epu8(outer, Load(row + i)));
    }
    XFrameRow_BlendTypeA_C(above + i, row + i, below + i, dst + i, bytes - i);
}

void AbsDiff_SSE2(uint8_t const* a, uint8_t const* b, uint8_t* dst, int32_t bytes) {
    int32_t i = 0;
    for (; i + 16 <= bytes; i += 16) {
        Store(dst + i, AbsDiff(Load(a + i), Load(b + i)));
    }
    XFrameRow_AbsDiff_C(a + i, b + i, dst + i, bytes - i);
}

void Weighted_SSE2(uint8_t const* a, float wa, uint8_t const* b, float wb, uint8_t* dst,
                   int32_t bytes) {
    __m128i const zero = _mm_setzero_si128();
    __m128 const va = _mm_set1_ps(wa);
    __m128 const vb = _mm_set1_ps(wb);
    int32_t i = 0;
    for (; i + 16 <= bytes; i += 16) {
        __m128i const a8 = Load(a + i);
        __m128i const b8 = Load(b + i);
        __m128i const a16[2] = {_mm_unpacklo_epi8(a8, zero), _mm_unpackhi_epi8(a8, zero)};
        __m128i const b16[2] = {_mm_unpacklo_epi8(b8, zero), _mm_unpackhi_epi8(b8, zero)};
        __m128i out16[2];
        for (int h = 0; h < 2; ++h) {
            __m128i out32[2];
            for (int q = 0; q < 2; ++q) {
                __m128i const a32 =
                    q == 0 ? _mm_unpacklo_epi16(a16[h], zero) : _mm_unpackhi_epi16(a16[h], zero);
                __m128i const b32 =
                    q == 0 ? _mm_unpacklo_epi16(b16[h], zero) : _mm_unpackhi_epi16(b16[h], zero);
                __m128 const sum = _mm_add_ps(_mm_mul_ps(_mm_cvtepi32_ps(a32), va),
                                              _mm_mul_ps(_mm_cvtepi32_ps(b32), vb));
                out32[q] = SaturatedInt32(sum);
            }
            out16[h] = _mm_packs_epi32(out32[0], out32[1]);
        }
        Store(dst + i, _mm_packus_epi16(out16[0], out16[1]));
    }
    XFrameRow_Weighted_C(a + i, wa, b + i, wb, dst + i, bytes - i);
}

void SwapRows_SSE2(uint8_t* a, uint8_t* b, int32_t bytes) {
    int32_t i = 0;
    for (; i + 16 <= bytes; i += 16) {
        __m128i const va = Load(a + i);
        Store(a + i, Load(b + i));
        Store(b + i, va);
    }
    XFrameRow_SwapRows_C(a + i, b + i, bytes - i);
}

void HalvePixels_SSE2(uint8_t const* src, uint8_t* dst, int32_t dstPixels) {
    int32_t i = 0;
    for (; i + 4 <= dstPixels; i += 4) {
        __m128 const lo = _mm_castsi128_ps(Load(src + 8 * i));
        __m128 const hi = _mm_castsi128_ps(Load(src + 8 * i + 16));
        __m128i const even = _mm_castps_si128(_mm_shuffle_ps(lo, hi, _MM_SHUFFLE(2, 0, 2, 0)));
        __m128i const odd = _mm_castps_si128(_mm_shuffle_ps(lo, hi, _MM_SHUFFLE(3, 1, 3, 1)));
        Store(dst + 4 * i, _mm_avg_epu8(even, odd));
    }
    XFrameRow_HalvePixels_C(src + 8 * i, dst + 4 * i, dstPixels - i);
}

uint64_t Adaptive_SSE2(uint8_t const* above, uint8_t const* row, uint8_t const* below, uint8_t* dst,
                       int32_t pixels, uint8_t threshold) {
    __m128i const zero = _mm_setzero_si128();
    __m128i const limit = _mm_set1_epi8(char(threshold));
    __m128i sums = zero;
    int32_t i = 0;
    for (; i + 4 <= pixels; i += 4) {
        __m128i const interp = _mm_avg_epu8(Load(above + 4 * i), Load(below + 4 * i));
        __m128i const own = Load(row + 4 * i);
        __m128i const difference = AbsDiff(own, interp);
        sums = _mm_add_epi64(sums, _mm_sad_epu8(difference, zero));
        // A pixel is still when none of its four bytes is beyond the threshold.
        __m128i const beyond = _mm_subs_epu8(difference, limit);
        __m128i const still = _mm_cmpeq_epi32(beyond, zero);
        Store(dst + 4 * i,
              _mm_or_si128(_mm_and_si128(still, own), _mm_andnot_si128(still, interp)));
    }
    uint64_t lanes[2];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(lanes), sums);
    return lanes[0] + lanes[1] +
           XFrameRow_Adaptive_C(above + 4 * i, row + 4 * i, below + 4 * i, dst + 4 * i, pixels - i,
                                threshold);
}

// One destination pixel a step: the four channels are the four float lanes.
void BilinearRow_SSE2(uint8_t const* row0, uint8_t const* row1, float fy, int32_t srcWidth,
                      float scaleX, uint8_t* dst, int32_t xBegin, int32_t xEnd) {
    __m128 const vfy = _mm_set1_ps(fy);
    for (int32_t x = xBegin; x < xEnd; ++x) {
        XFrameBilinearSource const s = XFrameBilinearSourceAt(x, scaleX, srcWidth);
        __m128 const p00 = BytesToFloats(LoadPixel(row0 + 4 * s.lower));
        __m128 const p01 = BytesToFloats(LoadPixel(row0 + 4 * s.upper));
        __m128 const p10 = BytesToFloats(LoadPixel(row1 + 4 * s.lower));
        __m128 const p11 = BytesToFloats(LoadPixel(row1 + 4 * s.upper));
        __m128 const fx = _mm_set1_ps(s.weight);
        __m128 const top = _mm_add_ps(p00, _mm_mul_ps(fx, _mm_sub_ps(p01, p00)));
        __m128 const bottom = _mm_add_ps(p10, _mm_mul_ps(fx, _mm_sub_ps(p11, p10)));
        __m128 const value = _mm_add_ps(top, _mm_mul_ps(vfy, _mm_sub_ps(bottom, top)));
        __m128i const i32 = SaturatedInt32(value);
        __m128i const i16 = _mm_packs_epi32(i32, i32);
        int32_t const pixel = _mm_cvtsi128_si32(_mm_packus_epi16(i16, i16));
        __builtin_memcpy(dst + 4 * x, &pixel, 4);
    }
}

}  // namespace

XFrameRowKernels const& XFrameRowKernels_SSE2() {
    static XFrameRowKernels const sKernels = {
        AverageRound_SSE2, BlendTypeA_SSE2,  AbsDiff_SSE2,  Weighted_SSE2,
        SwapRows_SSE2,     HalvePixels_SSE2, Adaptive_SSE2, BilinearRow_SSE2,
    };
    return sKernels;
}

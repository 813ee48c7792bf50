// AVX2 row kernels: 32 bytes a step, tails by the _C kernels. Built with -mavx2 and
// -ffp-contract=off (no fused multiply-add, so the float kernels round as the _C ones do);
// only called after the CPU was seen to have AVX2.

#include <immintrin.h>

#include "CoreX/XFrameRowKernels.h"

namespace {

inline __m256i Load(uint8_t const* p) {
    return _mm256_loadu_si256(reinterpret_cast<__m256i const*>(p));
}

inline void Store(uint8_t* p, __m256i v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }

inline __m256i AbsDiff(__m256i a, __m256i b) {
    return _mm256_or_si256(_mm256_subs_epu8(a, b), _mm256_subs_epu8(b, a));
}

inline __m256i SaturatedInt32(__m256 v) {
    v = _mm256_min_ps(_mm256_max_ps(v, _mm256_setzero_ps()), _mm256_set1_ps(255.0f));  // NaN -> 0
    return _mm256_cvttps_epi32(v);
}

inline __m128i LoadPixelPair(uint8_t const* first, uint8_t const* second) {
    int32_t a;
    int32_t b;
    __builtin_memcpy(&a, first, 4);
    __builtin_memcpy(&b, second, 4);
    return _mm_unpacklo_epi32(_mm_cvtsi32_si128(a), _mm_cvtsi32_si128(b));
}

void AverageRound_AVX2(uint8_t const* a, uint8_t const* b, uint8_t* dst, int32_t bytes) {
    int32_t i = 0;
    for (; i + 32 <= bytes; i += 32) {
        Store(dst + i, _mm256_avg_epu8(Load(a + i), Load(b + i)));
    }
    XFrameRow_AverageRound_C(a + i, b + i, dst + i, bytes - i);
}

void BlendTypeA_AVX2(uint8_t const* above, uint8_t const* row, uint8_t const* below, uint8_t* dst,
                     int32_t bytes) {
    int32_t i = 0;
    for (; i + 32 <= bytes; i += 32) {
        __m256i const outer = _mm256_avg_epu8(Load(above + i), Load(below + i));
        Store(dst + i, _mm256_avg_epu8(outer, Load(row + i)));
    }
    XFrameRow_BlendTypeA_C(above + i, row + i, below + i, dst + i, bytes - i);
}

void AbsDiff_AVX2(uint8_t const* a, uint8_t const* b, uint8_t* dst, int32_t bytes) {
    int32_t i = 0;
    for (; i + 32 <= bytes; i += 32) {
        Store(dst + i, AbsDiff(Load(a + i), Load(b + i)));
    }
    XFrameRow_AbsDiff_C(a + i, b + i, dst + i, bytes - i);
}

// 32 bytes a step: widened to four vectors of eight floats. The packs work within 128-bit
// lanes and leave 4-byte groups in the order 0 2 4 6 | 1 3 5 7, which the permute undoes.
void Weighted_AVX2(uint8_t const* a, float wa, uint8_t const* b, float wb, uint8_t* dst,
                   int32_t bytes) {
    __m256 const va = _mm256_set1_ps(wa);
    __m256 const vb = _mm256_set1_ps(wb);
    __m256i const order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    int32_t i = 0;
    for (; i + 32 <= bytes; i += 32) {
        __m256i out32[4];
        for (int q = 0; q < 4; ++q) {
            __m128i const a8 = _mm_loadl_epi64(reinterpret_cast<__m128i const*>(a + i + 8 * q));
            __m128i const b8 = _mm_loadl_epi64(reinterpret_cast<__m128i const*>(b + i + 8 * q));
            __m256 const fa = _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(a8));
            __m256 const fb = _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(b8));
            out32[q] = SaturatedInt32(_mm256_add_ps(_mm256_mul_ps(fa, va), _mm256_mul_ps(fb, vb)));
        }
        __m256i const i16lo = _mm256_packs_epi32(out32[0], out32[1]);
        __m256i const i16hi = _mm256_packs_epi32(out32[2], out32[3]);
        __m256i const i8 = _mm256_packus_epi16(i16lo, i16hi);
        Store(dst + i, _mm256_permutevar8x32_epi32(i8, order));
    }
    XFrameRow_Weighted_C(a + i, wa, b + i, wb, dst + i, bytes - i);
}

void SwapRows_AVX2(uint8_t* a, uint8_t* b, int32_t bytes) {
    int32_t i = 0;
    for (; i + 32 <= bytes; i += 32) {
        __m256i const va = Load(a + i);
        Store(a + i, Load(b + i));
        Store(b + i, va);
    }
    XFrameRow_SwapRows_C(a + i, b + i, bytes - i);
}

void HalvePixels_AVX2(uint8_t const* src, uint8_t* dst, int32_t dstPixels) {
    int32_t i = 0;
    for (; i + 8 <= dstPixels; i += 8) {
        __m256 const lo = _mm256_castsi256_ps(Load(src + 8 * i));
        __m256 const hi = _mm256_castsi256_ps(Load(src + 8 * i + 32));
        // Within each 128-bit lane: pixels 0 2 | 8 10 and 4 6 | 12 14; permuted back below.
        __m256i const even =
            _mm256_castps_si256(_mm256_shuffle_ps(lo, hi, _MM_SHUFFLE(2, 0, 2, 0)));
        __m256i const odd = _mm256_castps_si256(_mm256_shuffle_ps(lo, hi, _MM_SHUFFLE(3, 1, 3, 1)));
        __m256i const average = _mm256_avg_epu8(even, odd);
        Store(dst + 4 * i, _mm256_permute4x64_epi64(average, _MM_SHUFFLE(3, 1, 2, 0)));
    }
    XFrameRow_HalvePixels_C(src + 8 * i, dst + 4 * i, dstPixels - i);
}

uint64_t Adaptive_AVX2(uint8_t const* above, uint8_t const* row, uint8_t const* below, uint8_t* dst,
                       int32_t pixels, uint8_t threshold) {
    __m256i const zero = _mm256_setzero_si256();
    __m256i const limit = _mm256_set1_epi8(char(threshold));
    __m256i sums = zero;
    int32_t i = 0;
    for (; i + 8 <= pixels; i += 8) {
        __m256i const interp = _mm256_avg_epu8(Load(above + 4 * i), Load(below + 4 * i));
        __m256i const own = Load(row + 4 * i);
        __m256i const difference = AbsDiff(own, interp);
        sums = _mm256_add_epi64(sums, _mm256_sad_epu8(difference, zero));
        __m256i const still = _mm256_cmpeq_epi32(_mm256_subs_epu8(difference, limit), zero);
        Store(dst + 4 * i, _mm256_blendv_epi8(interp, own, still));
    }
    uint64_t lanes[4];
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(lanes), sums);
    return lanes[0] + lanes[1] + lanes[2] + lanes[3] +
           XFrameRow_Adaptive_C(above + 4 * i, row + 4 * i, below + 4 * i, dst + 4 * i, pixels - i,
                                threshold);
}

// Two destination pixels a step, one in each 128-bit lane.
void BilinearRow_AVX2(uint8_t const* row0, uint8_t const* row1, float fy, int32_t srcWidth,
                      float scaleX, uint8_t* dst, int32_t xBegin, int32_t xEnd) {
    __m256 const vfy = _mm256_set1_ps(fy);
    int32_t x = xBegin;
    for (; x + 2 <= xEnd; x += 2) {
        XFrameBilinearSource const s0 = XFrameBilinearSourceAt(x, scaleX, srcWidth);
        XFrameBilinearSource const s1 = XFrameBilinearSourceAt(x + 1, scaleX, srcWidth);
        __m256 const p00 = _mm256_cvtepi32_ps(
            _mm256_cvtepu8_epi32(LoadPixelPair(row0 + 4 * s0.lower, row0 + 4 * s1.lower)));
        __m256 const p01 = _mm256_cvtepi32_ps(
            _mm256_cvtepu8_epi32(LoadPixelPair(row0 + 4 * s0.upper, row0 + 4 * s1.upper)));
        __m256 const p10 = _mm256_cvtepi32_ps(
            _mm256_cvtepu8_epi32(LoadPixelPair(row1 + 4 * s0.lower, row1 + 4 * s1.lower)));
        __m256 const p11 = _mm256_cvtepi32_ps(
            _mm256_cvtepu8_epi32(LoadPixelPair(row1 + 4 * s0.upper, row1 + 4 * s1.upper)));
        __m256 const fx = _mm256_set_m128(_mm_set1_ps(s1.weight), _mm_set1_ps(s0.weight));
        __m256 const top = _mm256_add_ps(p00, _mm256_mul_ps(fx, _mm256_sub_ps(p01, p00)));
        __m256 const bottom = _mm256_add_ps(p10, _mm256_mul_ps(fx, _mm256_sub_ps(p11, p10)));
        __m256 const value = _mm256_add_ps(top, _mm256_mul_ps(vfy, _mm256_sub_ps(bottom, top)));
        __m256i const i32 = SaturatedInt32(value);
        __m256i const i16 = _mm256_packs_epi32(i32, i32);
        __m256i const i8 = _mm256_packus_epi16(i16, i16);
        int32_t const first = _mm_cvtsi128_si32(_mm256_castsi256_si128(i8));
        int32_t const second = _mm_cvtsi128_si32(_mm256_extracti128_si256(i8, 1));
        __builtin_memcpy(dst + 4 * x, &first, 4);
        __builtin_memcpy(dst + 4 * x + 4, &second, 4);
    }
    XFrameRow_BilinearRow_C(row0, row1, fy, srcWidth, scaleX, dst, x, xEnd);
}

}  // namespace

XFrameRowKernels const& XFrameRowKernels_AVX2() {
    static XFrameRowKernels const sKernels = {
        AverageRound_AVX2, BlendTypeA_AVX2,  AbsDiff_AVX2,  Weighted_AVX2,
        SwapRows_AVX2,     HalvePixels_AVX2, Adaptive_AVX2, BilinearRow_AVX2,
    };
    return sKernels;
}

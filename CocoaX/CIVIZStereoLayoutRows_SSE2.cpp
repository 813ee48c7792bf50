// SSE2 forms of the stereo layout rows, four pixels a step; compiled only on x86-64, with its
// own flags.

#include <emmintrin.h>

#include "CocoaX/CIVIZStereoLayoutRows.h"

namespace {

inline __m128i Load(uint32_t const* p) {
    return _mm_loadu_si128(reinterpret_cast<__m128i const*>(p));
}
inline void Store(uint32_t* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

}  // namespace

void StereoSqueezeRow_SSE2(uint32_t const* src, uint32_t* dst, int dstWidth) {
    for (int i = 0; i < dstWidth; i += 4) {
        __m128 const a = _mm_castsi128_ps(Load(src + 2 * i));
        __m128 const b = _mm_castsi128_ps(Load(src + 2 * i + 4));
        // Even pixels 0, 2, 4, 6 and odd ones 1, 3, 5, 7 of the eight.
        __m128i const even = _mm_castps_si128(_mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)));
        __m128i const odd = _mm_castps_si128(_mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1)));
        Store(dst + i, _mm_avg_epu8(even, odd));
    }
}

void StereoAverageRows_SSE2(uint32_t const* a, uint32_t const* b, uint32_t* dst, int width) {
    for (int i = 0; i < width; i += 4) {
        Store(dst + i, _mm_avg_epu8(Load(a + i), Load(b + i)));
    }
}

void StereoAlternateRow_SSE2(uint32_t const* first, uint32_t const* second, uint32_t* dst,
                             int width, int phase) {
    // All ones in the lanes that take the second row: the odd lanes at phase 0.
    __m128i const odd = _mm_set_epi32(-1, 0, -1, 0);
    __m128i const takeSecond = (phase & 1) == 0 ? odd : _mm_xor_si128(odd, _mm_set1_epi32(-1));
    for (int i = 0; i < width; i += 4) {
        __m128i const f = _mm_andnot_si128(takeSecond, Load(first + i));
        __m128i const s = _mm_and_si128(takeSecond, Load(second + i));
        Store(dst + i, _mm_or_si128(f, s));
    }
}

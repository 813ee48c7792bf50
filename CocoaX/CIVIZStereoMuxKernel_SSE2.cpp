// SSE2 form of the stereo mux row; compiled only on x86-64, with its own flags.

#include <emmintrin.h>

#include "CocoaX/CIVIZStereoMuxKernel.h"

void StereoMuxRow_SSE2(uint32_t const* right, uint32_t const* left, uint32_t* dst, int width,
                       StereoMuxCoefficients const& coefficients) {
    __m128i const kLowByte = _mm_set1_epi32(0x000000FF);
    __m128i const kThirdByte = _mm_set1_epi32(0x00FF0000);
    __m128i const kHalf = _mm_set1_epi32(1 << (kStereoMuxFractionBits - 1));
    __m128i const kZero = _mm_setzero_si128();
    // weights[out][pair]: pairs (left r, left g), (left b, right r), (right g, right b).
    __m128i weights[3][3];
    for (int out = 0; out < 3; ++out) {
        for (int pair = 0; pair < 3; ++pair) {
            weights[out][pair] = _mm_set1_epi32(coefficients.pairs[out][pair]);
        }
    }

    for (int i = 0; i < width; i += 8) {
        __m128i sums[3][2];
        __m128i alpha[2];
        for (int half = 0; half < 2; ++half) {
            __m128i const l =
                _mm_loadu_si128(reinterpret_cast<__m128i const*>(left + i + 4 * half));
            __m128i const r =
                _mm_loadu_si128(reinterpret_cast<__m128i const*>(right + i + 4 * half));
            // Each 32-bit lane holds two channels as 16-bit values, low one first.
            __m128i const pairs[3] = {
                _mm_or_si128(_mm_and_si128(_mm_srli_epi32(l, 16), kLowByte),
                             _mm_and_si128(_mm_slli_epi32(l, 8), kThirdByte)),
                _mm_or_si128(_mm_and_si128(l, kLowByte), _mm_and_si128(r, kThirdByte)),
                _mm_or_si128(_mm_and_si128(_mm_srli_epi32(r, 8), kLowByte),
                             _mm_and_si128(_mm_slli_epi32(r, 16), kThirdByte))};
            for (int out = 0; out < 3; ++out) {
                __m128i sum = _mm_add_epi32(_mm_madd_epi16(pairs[0], weights[out][0]), kHalf);
                sum = _mm_add_epi32(sum, _mm_madd_epi16(pairs[1], weights[out][1]));
                sum = _mm_add_epi32(sum, _mm_madd_epi16(pairs[2], weights[out][2]));
                sums[out][half] = _mm_srai_epi32(sum, kStereoMuxFractionBits);
            }
            // Alphas are below 256, so a 16-bit max of the 32-bit lanes is their max.
            alpha[half] = _mm_max_epi16(_mm_srli_epi32(l, 24), _mm_srli_epi32(r, 24));
        }
        __m128i const alpha16 = _mm_packs_epi32(alpha[0], alpha[1]);
        __m128i channel[3];
        for (int out = 0; out < 3; ++out) {
            __m128i const value = _mm_packs_epi32(sums[out][0], sums[out][1]);
            channel[out] = _mm_min_epi16(_mm_max_epi16(value, kZero), alpha16);
        }
        // channel[0] red, [1] green, [2] blue; memory order is b, g, r, a.
        __m128i const blueGreen = _mm_or_si128(channel[2], _mm_slli_epi16(channel[1], 8));
        __m128i const redAlpha = _mm_or_si128(channel[0], _mm_slli_epi16(alpha16, 8));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i),
                         _mm_unpacklo_epi16(blueGreen, redAlpha));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i + 4),
                         _mm_unpackhi_epi16(blueGreen, redAlpha));
    }
}

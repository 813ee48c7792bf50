// AVX2 form of the stereo mux row, 16 pixels a step; compiled only on x86-64, with its own
// flags, and called only where the processor has AVX2.
//
// The packs and unpacks work within each 128-bit half: packing the sums of pixels 0..7 with
// those of 8..15 puts 0..3, 8..11 in the low half and 4..7, 12..15 in the high one, so the
// low unpack yields pixels 0..7 in order and the high unpack 8..15.

#include <immintrin.h>

#include "CocoaX/CIVIZStereoMuxKernel.h"

void StereoMuxRow_AVX2(uint32_t const* right, uint32_t const* left, uint32_t* dst, int width,
                       StereoMuxCoefficients const& coefficients) {
    __m256i const kLowByte = _mm256_set1_epi32(0x000000FF);
    __m256i const kThirdByte = _mm256_set1_epi32(0x00FF0000);
    __m256i const kHalf = _mm256_set1_epi32(1 << (kStereoMuxFractionBits - 1));
    __m256i const kZero = _mm256_setzero_si256();
    __m256i weights[3][3];
    for (int out = 0; out < 3; ++out) {
        for (int pair = 0; pair < 3; ++pair) {
            weights[out][pair] = _mm256_set1_epi32(coefficients.pairs[out][pair]);
        }
    }

    for (int i = 0; i < width; i += 16) {
        __m256i sums[3][2];
        __m256i alpha[2];
        for (int half = 0; half < 2; ++half) {
            __m256i const l =
                _mm256_loadu_si256(reinterpret_cast<__m256i const*>(left + i + 8 * half));
            __m256i const r =
                _mm256_loadu_si256(reinterpret_cast<__m256i const*>(right + i + 8 * half));
            // Each 32-bit lane holds two channels as 16-bit values, low one first.
            __m256i const pairs[3] = {
                _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi32(l, 16), kLowByte),
                                _mm256_and_si256(_mm256_slli_epi32(l, 8), kThirdByte)),
                _mm256_or_si256(_mm256_and_si256(l, kLowByte), _mm256_and_si256(r, kThirdByte)),
                _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi32(r, 8), kLowByte),
                                _mm256_and_si256(_mm256_slli_epi32(r, 16), kThirdByte))};
            for (int out = 0; out < 3; ++out) {
                __m256i sum =
                    _mm256_add_epi32(_mm256_madd_epi16(pairs[0], weights[out][0]), kHalf);
                sum = _mm256_add_epi32(sum, _mm256_madd_epi16(pairs[1], weights[out][1]));
                sum = _mm256_add_epi32(sum, _mm256_madd_epi16(pairs[2], weights[out][2]));
                sums[out][half] = _mm256_srai_epi32(sum, kStereoMuxFractionBits);
            }
            // Alphas are below 256, so a 16-bit max of the 32-bit lanes is their max.
            alpha[half] = _mm256_max_epi16(_mm256_srli_epi32(l, 24), _mm256_srli_epi32(r, 24));
        }
        __m256i const alpha16 = _mm256_packs_epi32(alpha[0], alpha[1]);
        __m256i channel[3];
        for (int out = 0; out < 3; ++out) {
            __m256i const value = _mm256_packs_epi32(sums[out][0], sums[out][1]);
            channel[out] = _mm256_min_epi16(_mm256_max_epi16(value, kZero), alpha16);
        }
        // channel[0] red, [1] green, [2] blue; memory order is b, g, r, a.
        __m256i const blueGreen = _mm256_or_si256(channel[2], _mm256_slli_epi16(channel[1], 8));
        __m256i const redAlpha = _mm256_or_si256(channel[0], _mm256_slli_epi16(alpha16, 8));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i),
                            _mm256_unpacklo_epi16(blueGreen, redAlpha));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i + 8),
                            _mm256_unpackhi_epi16(blueGreen, redAlpha));
    }
}

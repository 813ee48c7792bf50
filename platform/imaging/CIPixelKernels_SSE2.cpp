// SSE2 forms of the imaging row kernels; compiled only on x86-64, with their own flags.

#include <emmintrin.h>

#include "platform/imaging/CIPixelKernels.h"

void CIColorMatrixRow_SSE2(uint32_t const* src, uint32_t* dst, int width,
                           CIColorMatrixRowCoefficients const& matrix) {
    __m128i const kByte = _mm_set1_epi32(0xFF);
    __m128 const kZero = _mm_setzero_ps();
    __m128 w[3][4];
    for (int out = 0; out < 3; ++out) {
        for (int in = 0; in < 4; ++in) {
            w[out][in] = _mm_set1_ps(matrix.weights[out][in]);
        }
    }
    for (int i = 0; i < width; i += 4) {
        // Four pixels as planes of b, g, r, a floats.
        __m128i const pixels = _mm_loadu_si128(reinterpret_cast<__m128i const*>(src + i));
        __m128i const alphaBytes = _mm_srli_epi32(pixels, 24);
        __m128 const in[4] = {_mm_cvtepi32_ps(_mm_and_si128(pixels, kByte)),
                              _mm_cvtepi32_ps(_mm_and_si128(_mm_srli_epi32(pixels, 8), kByte)),
                              _mm_cvtepi32_ps(_mm_and_si128(_mm_srli_epi32(pixels, 16), kByte)),
                              _mm_cvtepi32_ps(alphaBytes)};
        __m128i result = _mm_slli_epi32(alphaBytes, 24);
        for (int out = 0; out < 3; ++out) {
            __m128 value = _mm_mul_ps(w[out][0], in[0]);
            value = _mm_add_ps(value, _mm_mul_ps(w[out][1], in[1]));
            value = _mm_add_ps(value, _mm_mul_ps(w[out][2], in[2]));
            value = _mm_add_ps(value, _mm_mul_ps(w[out][3], in[3]));
            value = _mm_max_ps(value, kZero);
            value = _mm_min_ps(value, in[3]);
            result = _mm_or_si128(result, _mm_slli_epi32(_mm_cvtps_epi32(value), 8 * out));
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), result);
    }
}

// AVX2 forms of the imaging row kernels; compiled only on x86-64, with their own flags
// (no fused multiply-adds, so they round as the reference does).

#include <immintrin.h>

#include "platform/imaging/CIColorMapPixel.h"
#include "platform/imaging/CIPixelKernels.h"

void CIColorMapRow_AVX2(uint32_t const* src, uint32_t* dst, int width,
                        CIColorMapRowCoefficients const& map) {
    __m256i const kByte = _mm256_set1_epi32(0xFF);
    __m256i const kOpaque = _mm256_set1_epi32(static_cast<int>(0xFF000000u));
    __m256 const kZero = _mm256_setzero_ps();
    __m256 w[3][4];
    for (int out = 0; out < 3; ++out) {
        for (int in = 0; in < 4; ++in) {
            w[out][in] = _mm256_set1_ps(map.weights[out][in]);
        }
    }
    for (int i = 0; i < width; i += 8) {
        __m256i const pixels = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(src + i));
        __m256i const alphaBytes = _mm256_srli_epi32(pixels, 24);
        __m256i const bytes[3] = {_mm256_and_si256(pixels, kByte),
                                  _mm256_and_si256(_mm256_srli_epi32(pixels, 8), kByte),
                                  _mm256_and_si256(_mm256_srli_epi32(pixels, 16), kByte)};
        __m256 in[4];
        if (map.hasTone) {
            bool const opaque = _mm256_movemask_epi8(_mm256_cmpeq_epi32(
                                    _mm256_and_si256(pixels, kOpaque), kOpaque)) == -1;
            if (!opaque) {
                for (int k = 0; k < 8; ++k) {
                    dst[i + k] = CIColorMapPixel(src[i + k], map);
                }
                continue;
            }
            for (int channel = 0; channel < 3; ++channel) {
                in[channel] = _mm256_i32gather_ps(map.tone[channel], bytes[channel], 4);
            }
        } else {
            for (int channel = 0; channel < 3; ++channel) {
                in[channel] = _mm256_cvtepi32_ps(bytes[channel]);
            }
        }
        in[3] = _mm256_cvtepi32_ps(alphaBytes);
        __m256i result = _mm256_slli_epi32(alphaBytes, 24);
        for (int out = 0; out < 3; ++out) {
            __m256 value = _mm256_mul_ps(w[out][0], in[0]);
            value = _mm256_add_ps(value, _mm256_mul_ps(w[out][1], in[1]));
            value = _mm256_add_ps(value, _mm256_mul_ps(w[out][2], in[2]));
            value = _mm256_add_ps(value, _mm256_mul_ps(w[out][3], in[3]));
            value = _mm256_max_ps(value, kZero);
            value = _mm256_min_ps(value, in[3]);
            result = _mm256_or_si256(result, _mm256_slli_epi32(_mm256_cvtps_epi32(value), 8 * out));
        }
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i), result);
    }
}

// The monitor scaler's row kernels in AVX2, eight pixels at a time; the same results as the
// reference forms. Compiled with -mavx2; called only where the CPU has it.

#include <immintrin.h>

#include "app/DSCMonitorScaler.h"

namespace {

// Per byte, (a * (256 - f) + b * f + 128) >> 8 with f per 16-bit lane; the sum fits 16 bits.
__m256i Blend16(__m256i a, __m256i b, __m256i f) {
    __m256i const rest = _mm256_sub_epi16(_mm256_set1_epi16(256), f);
    __m256i sum = _mm256_add_epi16(_mm256_mullo_epi16(a, rest), _mm256_mullo_epi16(b, f));
    sum = _mm256_add_epi16(sum, _mm256_set1_epi16(128));
    return _mm256_srli_epi16(sum, 8);
}

__m256i Blend8(__m256i a, __m256i b, __m256i fLow, __m256i fHigh) {
    __m256i const zero = _mm256_setzero_si256();
    __m256i const low = Blend16(_mm256_unpacklo_epi8(a, zero), _mm256_unpacklo_epi8(b, zero), fLow);
    __m256i const high =
        Blend16(_mm256_unpackhi_epi8(a, zero), _mm256_unpackhi_epi8(b, zero), fHigh);
    return _mm256_packus_epi16(low, high);
}

}  // namespace

void DSCScaleRowAcross_AVX2(uint32_t const* src, uint32_t* dst, int width, int32_t const* x0,
                            int32_t const* x1, int32_t const* fx) {
    auto const* base = reinterpret_cast<int const*>(src);
    for (int i = 0; i + 8 <= width; i += 8) {
        __m256i const left = _mm256_i32gather_epi32(
            base, _mm256_loadu_si256(reinterpret_cast<__m256i const*>(x0 + i)), 4);
        __m256i const right = _mm256_i32gather_epi32(
            base, _mm256_loadu_si256(reinterpret_cast<__m256i const*>(x1 + i)), 4);
        // Each pixel's share in both 16-bit halves of its word, then spread over its four
        // channels in the order the byte unpacking puts the pixels.
        __m256i share = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(fx + i));
        share = _mm256_or_si256(share, _mm256_slli_epi32(share, 16));
        __m256i const low = _mm256_unpacklo_epi32(share, share);
        __m256i const high = _mm256_unpackhi_epi32(share, share);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i), Blend8(left, right, low, high));
    }
}

void DSCBlendRows_AVX2(uint32_t const* row0, uint32_t const* row1, uint32_t* dst, int width,
                       uint32_t fy) {
    __m256i const share = _mm256_set1_epi16(static_cast<short>(fy));
    for (int i = 0; i + 8 <= width; i += 8) {
        __m256i const a = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(row0 + i));
        __m256i const b = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(row1 + i));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i), Blend8(a, b, share, share));
    }
}

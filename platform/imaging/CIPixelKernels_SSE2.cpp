// SSE2 forms of the imaging row kernels; compiled only on x86-64, with their own flags.

#include <algorithm>
#include <emmintrin.h>

#include "platform/imaging/CIColorMapPixel.h"
#include "platform/imaging/CIPixelKernels.h"

void CIColorMapRow_SSE2(uint32_t const* src, uint32_t* dst, int width,
                        CIColorMapRowCoefficients const& map) {
    __m128i const kByte = _mm_set1_epi32(0xFF);
    __m128i const kOpaque = _mm_set1_epi32(static_cast<int>(0xFF000000u));
    __m128 const kZero = _mm_setzero_ps();
    __m128 w[3][4];
    for (int out = 0; out < 3; ++out) {
        for (int in = 0; in < 4; ++in) {
            w[out][in] = _mm_set1_ps(map.weights[out][in]);
        }
    }
    for (int i = 0; i < width; i += 4) {
        // Four pixels as planes of b, g, r, a floats.
        __m128i const pixels = _mm_loadu_si128(reinterpret_cast<__m128i const*>(src + i));
        __m128i const alphaBytes = _mm_srli_epi32(pixels, 24);
        __m128 in[4];
        if (map.hasTone) {
            bool const opaque = _mm_movemask_epi8(_mm_cmpeq_epi32(_mm_and_si128(pixels, kOpaque),
                                                                  kOpaque)) == 0xFFFF;
            if (!opaque) {
                for (int k = 0; k < 4; ++k) {
                    dst[i + k] = CIColorMapPixel(src[i + k], map);
                }
                continue;
            }
            auto const* bytes = reinterpret_cast<unsigned char const*>(src + i);
            for (int channel = 0; channel < 3; ++channel) {
                float const* tone = map.tone[channel];
                in[channel] = _mm_setr_ps(tone[bytes[channel]], tone[bytes[4 + channel]],
                                          tone[bytes[8 + channel]], tone[bytes[12 + channel]]);
            }
        } else {
            in[0] = _mm_cvtepi32_ps(_mm_and_si128(pixels, kByte));
            in[1] = _mm_cvtepi32_ps(_mm_and_si128(_mm_srli_epi32(pixels, 8), kByte));
            in[2] = _mm_cvtepi32_ps(_mm_and_si128(_mm_srli_epi32(pixels, 16), kByte));
        }
        in[3] = _mm_cvtepi32_ps(alphaBytes);
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

void CIBilinearRow_SSE2(uint32_t const* row0, uint32_t const* row1, uint32_t* dst, int width,
                        CIBilinearSpan const& span) {
    int64_t const first = int64_t{span.firstColumn} << 16;
    int64_t const last = int64_t{span.lastColumn} << 16;
    __m128i const kZero = _mm_setzero_si128();
    __m128i const kHalf = _mm_set1_epi16(128);
    __m128i const weight0 = _mm_set1_epi16(static_cast<short>(256 - span.fy));
    __m128i const weight1 = _mm_set1_epi16(static_cast<short>(span.fy));
    int64_t u = span.u;
    for (int i = 0; i < width; ++i, u += span.stepU) {
        int64_t const held = std::clamp(u, first, last);
        int const x0 = static_cast<int>(held >> 16);
        int const x1 = std::min(x0 + 1, span.lastColumn);
        int const fx = static_cast<int>(held >> 8) & 0xFF;
        // 16-bit lanes: column x0's b, g, r, a, then column x1's.
        __m128i const top =
            _mm_unpacklo_epi8(_mm_unpacklo_epi32(_mm_cvtsi32_si128(static_cast<int>(row0[x0])),
                                                 _mm_cvtsi32_si128(static_cast<int>(row0[x1]))),
                              kZero);
        __m128i const bottom =
            _mm_unpacklo_epi8(_mm_unpacklo_epi32(_mm_cvtsi32_si128(static_cast<int>(row1[x0])),
                                                 _mm_cvtsi32_si128(static_cast<int>(row1[x1]))),
                              kZero);
        // At most 255 * 256 + 128: the unsigned 16-bit lanes do not overflow.
        __m128i const vertical = _mm_srli_epi16(
            _mm_add_epi16(
                _mm_add_epi16(_mm_mullo_epi16(top, weight0), _mm_mullo_epi16(bottom, weight1)),
                kHalf),
            8);
        __m128i const pairWeights = _mm_cvtsi32_si128((fx << 16) | (256 - fx));
        __m128i const columnWeights = _mm_unpacklo_epi64(_mm_shufflelo_epi16(pairWeights, 0x00),
                                                         _mm_shufflelo_epi16(pairWeights, 0x55));
        __m128i const weighted = _mm_mullo_epi16(vertical, columnWeights);
        __m128i const horizontal = _mm_srli_epi16(
            _mm_add_epi16(_mm_add_epi16(weighted, _mm_srli_si128(weighted, 8)), kHalf), 8);
        dst[i] = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_packus_epi16(horizontal, kZero)));
    }
}

void CIAffineBilinearRow_SSE2(unsigned char const* base, std::ptrdiff_t rowBytes, uint32_t* dst,
                              int width, CIAffineSpan const& span) {
    __m128i const kZero = _mm_setzero_si128();
    __m128i const kHalf = _mm_set1_epi16(128);
    int64_t u = span.u;
    int64_t v = span.v;
    for (int i = 0; i < width; ++i, u += span.stepU, v += span.stepV) {
        CIAffineTap const tap = CIAffineTapAt(base, rowBytes, span, u, v);
        uint32_t const* row0 = tap.row0;
        uint32_t const* row1 = tap.row1;
        int const x0 = tap.x0;
        int const x1 = tap.x1;
        int const fx = static_cast<int>(tap.fx);
        int const fy = static_cast<int>(tap.fy);
        // 16-bit lanes: row 0's b, g, r, a, then row 1's; one register per column.
        __m128i const left =
            _mm_unpacklo_epi8(_mm_unpacklo_epi32(_mm_cvtsi32_si128(static_cast<int>(row0[x0])),
                                                 _mm_cvtsi32_si128(static_cast<int>(row1[x0]))),
                              kZero);
        __m128i const right =
            _mm_unpacklo_epi8(_mm_unpacklo_epi32(_mm_cvtsi32_si128(static_cast<int>(row0[x1])),
                                                 _mm_cvtsi32_si128(static_cast<int>(row1[x1]))),
                              kZero);
        // At most 255 * 256 + 128: the unsigned 16-bit lanes do not overflow.
        __m128i const across = _mm_srli_epi16(
            _mm_add_epi16(
                _mm_add_epi16(_mm_mullo_epi16(left, _mm_set1_epi16(static_cast<short>(256 - fx))),
                              _mm_mullo_epi16(right, _mm_set1_epi16(static_cast<short>(fx)))),
                kHalf),
            8);
        __m128i const rowWeights = _mm_unpacklo_epi64(_mm_set1_epi16(static_cast<short>(256 - fy)),
                                                      _mm_set1_epi16(static_cast<short>(fy)));
        __m128i const weighted = _mm_mullo_epi16(across, rowWeights);
        __m128i const down = _mm_srli_epi16(
            _mm_add_epi16(_mm_add_epi16(weighted, _mm_srli_si128(weighted, 8)), kHalf), 8);
        dst[i] = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_packus_epi16(down, kZero)));
    }
}

void CIBlendRows_SSE2(uint32_t const* row0, uint32_t const* row1, uint32_t* dst, int width,
                      uint32_t fy) {
    __m128i const kZero = _mm_setzero_si128();
    __m128i const kHalf = _mm_set1_epi16(128);
    __m128i const weight0 = _mm_set1_epi16(static_cast<short>(256 - fy));
    __m128i const weight1 = _mm_set1_epi16(static_cast<short>(fy));
    auto const blend = [&](__m128i top, __m128i bottom) {
        return _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(_mm_mullo_epi16(top, weight0),
                                                          _mm_mullo_epi16(bottom, weight1)),
                                            kHalf),
                              8);
    };
    for (int i = 0; i < width; i += 4) {
        __m128i const top = _mm_loadu_si128(reinterpret_cast<__m128i const*>(row0 + i));
        __m128i const bottom = _mm_loadu_si128(reinterpret_cast<__m128i const*>(row1 + i));
        __m128i const low =
            blend(_mm_unpacklo_epi8(top, kZero), _mm_unpacklo_epi8(bottom, kZero));
        __m128i const high =
            blend(_mm_unpackhi_epi8(top, kZero), _mm_unpackhi_epi8(bottom, kZero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_packus_epi16(low, high));
    }
}

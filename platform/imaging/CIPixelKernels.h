#pragma once
// The imaging library's row kernels, in libyuv's shape: a portable reference (_C) beside each
// SIMD form (_SSE2, in its own source file), the SIMD form chosen once by CPU feature. Tests
// force the reference with CISetForceReferenceKernels(true) and compare the two.

#include <algorithm>
#include <cstddef>
#include <cstdint>

class CIColorMap;

// A colour map as the row kernel takes it, channels in memory order (blue, green, red).
// When hasTone, tone[c][v] is what the map's linear-light gain makes of the encoded byte v of
// channel c, as a float on the byte scale 0..255 (decoded, multiplied, clipped at white,
// encoded again). weights[out][in] are the colour matrix's weights of the toned blue, green
// and red, then the bias as the weight of alpha, since a premultiplied pixel adds bias x alpha.
struct CIColorMapRowCoefficients {
    float weights[3][4];
    bool hasTone;
    float tone[3][256];
};
CIColorMapRowCoefficients CIColorMapRowCoefficientsFrom(CIColorMap const& map);

// dst[i] = the map applied to src[i] (32-bit premultiplied ARGB words). Per pixel, in float:
// the tone of each colour byte (of the unpremultiplied byte, rescaled by alpha / 255, when the
// pixel is not opaque), then the matrix, clamped to 0..alpha and rounded to nearest (ties to
// even); alpha is copied. src may equal dst.
void CIColorMapRow_C(uint32_t const* src, uint32_t* dst, int width,
                     CIColorMapRowCoefficients const& map);
// The same for a width that is a multiple of 4 (SSE2) or 8 (AVX2); identical results.
void CIColorMapRow_SSE2(uint32_t const* src, uint32_t* dst, int width,
                        CIColorMapRowCoefficients const& map);
void CIColorMapRow_AVX2(uint32_t const* src, uint32_t* dst, int width,
                        CIColorMapRowCoefficients const& map);
// Any width: the widest SIMD form the CPU has over what it can take, the reference for the
// tail.
void CIColorMapRow(uint32_t const* src, uint32_t* dst, int width,
                   CIColorMapRowCoefficients const& map);

// One output row of an axis-aligned bilinear resample between two input rows. Output pixel i
// samples column u + i * stepU (16.16 fixed point, column c's centre at c << 16), held to
// firstColumn .. lastColumn so edges repeat; rows are blended with row1's share fy / 256.
// Vertical first, then horizontal, each rounded: identical in both forms.
struct CIBilinearSpan {
    int64_t u;
    int64_t stepU;
    int firstColumn;
    int lastColumn;
    uint32_t fy;  // 0..255
};
void CIBilinearRow_C(uint32_t const* row0, uint32_t const* row1, uint32_t* dst, int width,
                     CIBilinearSpan const& span);
void CIBilinearRow_SSE2(uint32_t const* row0, uint32_t const* row1, uint32_t* dst, int width,
                        CIBilinearSpan const& span);
// Any form; a span that steps whole columns inside the row only blends the rows.
void CIBilinearRow(uint32_t const* row0, uint32_t const* row1, uint32_t* dst, int width,
                   CIBilinearSpan const& span);

// dst[i] = row0[i] and row1[i] blended byte by byte with row1's share fy / 256, rounded: what
// CIBilinearRow gives when it steps whole columns (a part-pixel vertical move). The SSE2 form
// takes a width that is a multiple of 4.
void CIBlendRows_C(uint32_t const* row0, uint32_t const* row1, uint32_t* dst, int width,
                   uint32_t fy);
void CIBlendRows_SSE2(uint32_t const* row0, uint32_t const* row1, uint32_t* dst, int width,
                      uint32_t fy);

// One output row of a bilinear resample along any line through the input (a turned or
// sheared picture). Output pixel i samples column u + i * stepU and row v + i * stepV (16.16
// fixed point, pixel c's centre at c << 16), held to columns 0 .. lastColumn and rows
// 0 .. lastRow of the memory at `base` (row r at base + r * rowBytes). Columns are blended
// first, then rows, each rounded: identical in both forms.
struct CIAffineSpan {
    int64_t u;
    int64_t v;
    int64_t stepU;
    int64_t stepV;
    int lastColumn;
    int lastRow;
};
// The four source pixels and the 8-bit weights of one sample at (u, v) in 16.16 fixed point,
// held inside the span's picture: the one rule the reference and the vector forms share.
struct CIAffineTap {
    uint32_t const* row0;
    uint32_t const* row1;
    int x0, x1;
    uint32_t fx, fy;
};
inline CIAffineTap CIAffineTapAt(unsigned char const* base, std::ptrdiff_t rowBytes,
                                 CIAffineSpan const& span, int64_t u, int64_t v) {
    int64_t const heldU = std::clamp(u, int64_t{0}, int64_t{span.lastColumn} << 16);
    int64_t const heldV = std::clamp(v, int64_t{0}, int64_t{span.lastRow} << 16);
    int const x0 = static_cast<int>(heldU >> 16);
    int const y0 = static_cast<int>(heldV >> 16);
    int const y1 = std::min(y0 + 1, span.lastRow);
    return {reinterpret_cast<uint32_t const*>(base + y0 * rowBytes),
            reinterpret_cast<uint32_t const*>(base + y1 * rowBytes),
            x0,
            std::min(x0 + 1, span.lastColumn),
            static_cast<uint32_t>(heldU >> 8) & 0xFF,
            static_cast<uint32_t>(heldV >> 8) & 0xFF};
}
void CIAffineBilinearRow_C(unsigned char const* base, std::ptrdiff_t rowBytes, uint32_t* dst,
                           int width, CIAffineSpan const& span);
void CIAffineBilinearRow_SSE2(unsigned char const* base, std::ptrdiff_t rowBytes, uint32_t* dst,
                              int width, CIAffineSpan const& span);
void CIAffineBilinearRow(unsigned char const* base, std::ptrdiff_t rowBytes, uint32_t* dst,
                         int width, CIAffineSpan const& span);

// true forces every kernel of the program (this library's and its users') onto the reference.
void CISetForceReferenceKernels(bool force);
// true when the SSE2 (AVX2) forms are built in, the CPU has them and the reference is not
// forced.
bool CIUseSSE2Kernels();
bool CIUseAVX2Kernels();

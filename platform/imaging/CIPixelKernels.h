#pragma once
// The imaging library's row kernels, in libyuv's shape: a portable reference (_C) beside each
// SIMD form (_SSE2, in its own source file), the SIMD form chosen once by CPU feature. Tests
// force the reference with CISetForceReferenceKernels(true) and compare the two.

#include <cstdint>

class CIColorMatrix;

// A colour matrix as the row kernel takes it: for each output channel in memory order (blue,
// green, red), the weights of the input's blue, green, red and alpha bytes. The alpha weight
// is the bias, since a premultiplied pixel adds bias x alpha.
struct CIColorMatrixRowCoefficients {
    float weights[3][4];
};
CIColorMatrixRowCoefficients CIColorMatrixRowCoefficientsFrom(CIColorMatrix const& matrix);

// dst[i] = the matrix applied to src[i] (32-bit premultiplied ARGB words): each colour channel
// is computed in float, clamped to 0..alpha and rounded to nearest (ties to even); alpha is
// copied. src may equal dst.
void CIColorMatrixRow_C(uint32_t const* src, uint32_t* dst, int width,
                        CIColorMatrixRowCoefficients const& matrix);
// The same for a width that is a multiple of 4; identical results.
void CIColorMatrixRow_SSE2(uint32_t const* src, uint32_t* dst, int width,
                           CIColorMatrixRowCoefficients const& matrix);
// Any width: the SIMD form over width & ~3, the reference for the tail.
void CIColorMatrixRow(uint32_t const* src, uint32_t* dst, int width,
                      CIColorMatrixRowCoefficients const& matrix);

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
void CIBilinearRow(uint32_t const* row0, uint32_t const* row1, uint32_t* dst, int width,
                   CIBilinearSpan const& span);

// true forces every kernel of the program (this library's and its users') onto the reference.
void CISetForceReferenceKernels(bool force);
// true when the SSE2 forms are built in, the CPU has them and the reference is not forced.
bool CIUseSSE2Kernels();

#pragma once
// The row work of the stereo layouts (side by side, top-bottom, interleaved): squeezing an
// eye to half width, averaging two rows into one, and alternating the eyes pixel by pixel.
// Full-size layouts only copy rows. Each has a portable reference and an SSE2 form giving
// identical bytes; averages round up, (a + b + 1) / 2 per byte, as SSE2's pavgb does.

#include <cstdint>

// dst[i] = the average of src[2i] and src[2i + 1]: a row squeezed to half its width.
void StereoSqueezeRow_C(uint32_t const* src, uint32_t* dst, int dstWidth);
void StereoSqueezeRow_SSE2(uint32_t const* src, uint32_t* dst, int dstWidth);  // dstWidth % 4 == 0
void StereoSqueezeRow(uint32_t const* src, uint32_t* dst, int dstWidth);

// dst[i] = the average of a[i] and b[i]: two rows squeezed into one.
void StereoAverageRows_C(uint32_t const* a, uint32_t const* b, uint32_t* dst, int width);
void StereoAverageRows_SSE2(uint32_t const* a, uint32_t const* b, uint32_t* dst,
                            int width);  // width % 4 == 0
void StereoAverageRows(uint32_t const* a, uint32_t const* b, uint32_t* dst, int width);

// dst[i] = first[i] where i + phase is even, second[i] where it is odd.
void StereoAlternateRow_C(uint32_t const* first, uint32_t const* second, uint32_t* dst, int width,
                          int phase);
void StereoAlternateRow_SSE2(uint32_t const* first, uint32_t const* second, uint32_t* dst,
                             int width, int phase);  // width % 4 == 0
void StereoAlternateRow(uint32_t const* first, uint32_t const* second, uint32_t* dst, int width,
                        int phase);

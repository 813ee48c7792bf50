#include "CocoaX/CIVIZStereoLayoutRows.h"

#include "platform/imaging/CIPixelKernels.h"

namespace {

// The byte-wise average of two pixels, rounded up.
inline uint32_t Average(uint32_t a, uint32_t b) { return (a | b) - (((a ^ b) >> 1) & 0x7F7F7F7Fu); }

// The part of a row the SSE2 form takes (a multiple of 4 pixels), or none.
inline int VectorPart(int width) {
#if defined(CI_HAVE_SSE2)
    return CIUseSSE2Kernels() ? (width & ~3) : 0;
#else
    (void)width;
    return 0;
#endif
}

}  // namespace

void StereoSqueezeRow_C(uint32_t const* src, uint32_t* dst, int dstWidth) {
    for (int i = 0; i < dstWidth; ++i) {
        dst[i] = Average(src[2 * i], src[2 * i + 1]);
    }
}

void StereoAverageRows_C(uint32_t const* a, uint32_t const* b, uint32_t* dst, int width) {
    for (int i = 0; i < width; ++i) {
        dst[i] = Average(a[i], b[i]);
    }
}

void StereoAlternateRow_C(uint32_t const* first, uint32_t const* second, uint32_t* dst, int width,
                          int phase) {
    for (int i = 0; i < width; ++i) {
        dst[i] = ((i + phase) & 1) == 0 ? first[i] : second[i];
    }
}

void StereoSqueezeRow(uint32_t const* src, uint32_t* dst, int dstWidth) {
    int const done = VectorPart(dstWidth);
#if defined(CI_HAVE_SSE2)
    StereoSqueezeRow_SSE2(src, dst, done);
#endif
    StereoSqueezeRow_C(src + 2 * done, dst + done, dstWidth - done);
}

void StereoAverageRows(uint32_t const* a, uint32_t const* b, uint32_t* dst, int width) {
    int const done = VectorPart(width);
#if defined(CI_HAVE_SSE2)
    StereoAverageRows_SSE2(a, b, dst, done);
#endif
    StereoAverageRows_C(a + done, b + done, dst + done, width - done);
}

void StereoAlternateRow(uint32_t const* first, uint32_t const* second, uint32_t* dst, int width,
                        int phase) {
    int const done = VectorPart(width);
#if defined(CI_HAVE_SSE2)
    StereoAlternateRow_SSE2(first, second, dst, done, phase);
#endif
    // done is even, so the tail keeps the phase.
    StereoAlternateRow_C(first + done, second + done, dst + done, width - done, phase);
}

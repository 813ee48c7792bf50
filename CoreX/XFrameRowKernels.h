#pragma once
// The row kernels behind the vector frame operations, one table per instruction set: the
// scalar reference of each kernel's arithmetic (_C), SSE2 and AVX2. Each SIMD kernel does the
// widest whole steps it can and leaves the row's tail to the _C kernel, so all three give the
// same bytes. Internal to CoreX; tests and benchmarks select a table via XFrame_UseKernelSet.

#include <cstdint>

struct XFrameRowKernels {
    // dst = (a + b + 1) >> 1 per byte.
    void (*AverageRound)(uint8_t const* a, uint8_t const* b, uint8_t* dst, int32_t bytes);
    // dst = avg(avg(above, below), row), both averages rounding up.
    void (*BlendTypeA)(uint8_t const* above, uint8_t const* row, uint8_t const* below, uint8_t* dst,
                       int32_t bytes);
    // dst = |a - b| per byte.
    void (*AbsDiff)(uint8_t const* a, uint8_t const* b, uint8_t* dst, int32_t bytes);
    // dst = saturate(trunc(a x wa + b x wb)), two rounded products then a rounded sum.
    void (*Weighted)(uint8_t const* a, float wa, uint8_t const* b, float wb, uint8_t* dst,
                     int32_t bytes);
    void (*SwapRows)(uint8_t* a, uint8_t* b, int32_t bytes);
    // 4-byte pixels: dst pixel i = avg(src pixel 2i, src pixel 2i + 1), rounding up.
    void (*HalvePixels)(uint8_t const* src, uint8_t* dst, int32_t dstPixels);
    // 4-byte pixels: interp = avg(above, below) rounding up; a pixel with a byte further than
    // threshold from interp takes interp, the others keep row. Returns sum |row - interp|.
    uint64_t (*Adaptive)(uint8_t const* above, uint8_t const* row, uint8_t const* below,
                         uint8_t* dst, int32_t pixels, uint8_t threshold);
    // 4-byte pixels: destination columns xBegin..xEnd - 1 of one row of the bilinear resize,
    // from source rows row0 and row1 (weight fy of row1); columns as XFrameBilinearSourceAt.
    void (*BilinearRow)(uint8_t const* row0, uint8_t const* row1, float fy, int32_t srcWidth,
                        float scaleX, uint8_t* dst, int32_t xBegin, int32_t xEnd);
};

XFrameRowKernels const& XFrameRowKernels_C();
XFrameRowKernels const& XFrameRowKernels_SSE2();
XFrameRowKernels const& XFrameRowKernels_AVX2();
// The table in use (see XFrame_UseKernelSet).
XFrameRowKernels const& XFrameCurrentRowKernels();

// The scalar kernels, which the SIMD ones call for their tails.
void XFrameRow_AverageRound_C(uint8_t const* a, uint8_t const* b, uint8_t* dst, int32_t bytes);
void XFrameRow_BlendTypeA_C(uint8_t const* above, uint8_t const* row, uint8_t const* below,
                            uint8_t* dst, int32_t bytes);
void XFrameRow_AbsDiff_C(uint8_t const* a, uint8_t const* b, uint8_t* dst, int32_t bytes);
void XFrameRow_Weighted_C(uint8_t const* a, float wa, uint8_t const* b, float wb, uint8_t* dst,
                          int32_t bytes);
void XFrameRow_SwapRows_C(uint8_t* a, uint8_t* b, int32_t bytes);
void XFrameRow_HalvePixels_C(uint8_t const* src, uint8_t* dst, int32_t dstPixels);
uint64_t XFrameRow_Adaptive_C(uint8_t const* above, uint8_t const* row, uint8_t const* below,
                              uint8_t* dst, int32_t pixels, uint8_t threshold);
void XFrameRow_BilinearRow_C(uint8_t const* row0, uint8_t const* row1, float fy, int32_t srcWidth,
                             float scaleX, uint8_t* dst, int32_t xBegin, int32_t xEnd);

// Helpers shared by every kernel file. They are static on purpose: a helper compiled into
// the AVX2 file must never be the copy the other files link to.
namespace {

// The source position of destination column (or row) i on a pixel-centre grid: the lower
// neighbour, the upper one (clamped to the last) and the weight of the upper one.
struct XFrameBilinearSource {
    int32_t lower;
    int32_t upper;
    float weight;
};

[[maybe_unused]] inline XFrameBilinearSource XFrameBilinearSourceAt(int32_t i, float scale,
                                                                    int32_t sourceCount) {
    float position = (float(i) + 0.5f) * scale - 0.5f;
    if (!(position > 0.0f)) {
        position = 0.0f;
    }
    int32_t const lower = int32_t(position);
    if (lower >= sourceCount - 1) {
        return {sourceCount - 1, sourceCount - 1, 0.0f};
    }
    return {lower, lower + 1, position - float(lower)};
}

// Truncates toward zero and saturates to 0..255; NaN gives 0.
[[maybe_unused]] inline uint8_t XFrameSaturateToByte(float value) {
    if (!(value > 0.0f)) {
        return 0;
    }
    if (value > 255.0f) {
        return 255;
    }
    return uint8_t(int32_t(value));
}

}  // namespace

#include "CoreX/XFrameRowKernels.h"

#include <atomic>

#include "CoreX/XFrameOperations.h"

void XFrameRow_AverageRound_C(uint8_t const* a, uint8_t const* b, uint8_t* dst, int32_t bytes) {
    for (int32_t i = 0; i < bytes; ++i) {
        dst[i] = uint8_t((a[i] + b[i] + 1) >> 1);
    }
}

void XFrameRow_BlendTypeA_C(uint8_t const* above, uint8_t const* row, uint8_t const* below,
                            uint8_t* dst, int32_t bytes) {
    for (int32_t i = 0; i < bytes; ++i) {
        int const outer = (above[i] + below[i] + 1) >> 1;
        dst[i] = uint8_t((outer + row[i] + 1) >> 1);
    }
}

void XFrameRow_AbsDiff_C(uint8_t const* a, uint8_t const* b, uint8_t* dst, int32_t bytes) {
    for (int32_t i = 0; i < bytes; ++i) {
        dst[i] = uint8_t(a[i] > b[i] ? a[i] - b[i] : b[i] - a[i]);
    }
}

void XFrameRow_Weighted_C(uint8_t const* a, float wa, uint8_t const* b, float wb, uint8_t* dst,
                          int32_t bytes) {
    for (int32_t i = 0; i < bytes; ++i) {
        float const pa = float(a[i]) * wa;
        float const pb = float(b[i]) * wb;
        dst[i] = XFrameSaturateToByte(pa + pb);
    }
}

void XFrameRow_SwapRows_C(uint8_t* a, uint8_t* b, int32_t bytes) {
    for (int32_t i = 0; i < bytes; ++i) {
        uint8_t const t = a[i];
        a[i] = b[i];
        b[i] = t;
    }
}

void XFrameRow_HalvePixels_C(uint8_t const* src, uint8_t* dst, int32_t dstPixels) {
    for (int32_t i = 0; i < dstPixels; ++i) {
        for (int c = 0; c < 4; ++c) {
            dst[4 * i + c] = uint8_t((src[8 * i + c] + src[8 * i + 4 + c] + 1) >> 1);
        }
    }
}

uint64_t XFrameRow_Adaptive_C(uint8_t const* above, uint8_t const* row, uint8_t const* below,
                              uint8_t* dst, int32_t pixels, uint8_t threshold) {
    uint64_t sum = 0;
    for (int32_t i = 0; i < pixels; ++i) {
        uint8_t interp[4];
        bool moving = false;
        for (int c = 0; c < 4; ++c) {
            int const k = 4 * i + c;
            interp[c] = uint8_t((above[k] + below[k] + 1) >> 1);
            int const difference = row[k] > interp[c] ? row[k] - interp[c] : interp[c] - row[k];
            sum += uint64_t(difference);
            moving = moving || difference > threshold;
        }
        for (int c = 0; c < 4; ++c) {
            dst[4 * i + c] = moving ? interp[c] : row[4 * i + c];
        }
    }
    return sum;
}

void XFrameRow_BilinearRow_C(uint8_t const* row0, uint8_t const* row1, float fy, int32_t srcWidth,
                             float scaleX, uint8_t* dst, int32_t xBegin, int32_t xEnd) {
    for (int32_t x = xBegin; x < xEnd; ++x) {
        XFrameBilinearSource const s = XFrameBilinearSourceAt(x, scaleX, srcWidth);
        for (int c = 0; c < 4; ++c) {
            float const p00 = row0[4 * s.lower + c];
            float const p01 = row0[4 * s.upper + c];
            float const p10 = row1[4 * s.lower + c];
            float const p11 = row1[4 * s.upper + c];
            float const top = p00 + s.weight * (p01 - p00);
            float const bottom = p10 + s.weight * (p11 - p10);
            dst[4 * x + c] = XFrameSaturateToByte(top + fy * (bottom - top));
        }
    }
}

XFrameRowKernels const& XFrameRowKernels_C() {
    static XFrameRowKernels const sKernels = {
        XFrameRow_AverageRound_C, XFrameRow_BlendTypeA_C,  XFrameRow_AbsDiff_C,
        XFrameRow_Weighted_C,     XFrameRow_SwapRows_C,    XFrameRow_HalvePixels_C,
        XFrameRow_Adaptive_C,     XFrameRow_BilinearRow_C,
    };
    return sKernels;
}

namespace {

bool CpuHas(XFrameKernelSet set) {
    switch (set) {
        case XFrameKernelSet::Reference:
            return true;
        case XFrameKernelSet::SSE2:
            return __builtin_cpu_supports("sse2");
        case XFrameKernelSet::AVX2:
            return __builtin_cpu_supports("avx2");
    }
    return false;
}

XFrameRowKernels const& KernelsOf(XFrameKernelSet set) {
    switch (set) {
        case XFrameKernelSet::SSE2:
            return XFrameRowKernels_SSE2();
        case XFrameKernelSet::AVX2:
            return XFrameRowKernels_AVX2();
        case XFrameKernelSet::Reference:
            break;
    }
    return XFrameRowKernels_C();
}

// The selection is read on every frame operation and changed only by tests and benchmarks.
std::atomic<XFrameRowKernels const*> sCurrentKernels{nullptr};
std::atomic<XFrameKernelSet> sCurrentSet{XFrameKernelSet::Reference};

}  // namespace

XFrameKernelSet XFrame_BestKernelSet() {
    static XFrameKernelSet const sBest = CpuHas(XFrameKernelSet::AVX2) ? XFrameKernelSet::AVX2
                                         : CpuHas(XFrameKernelSet::SSE2)
                                             ? XFrameKernelSet::SSE2
                                             : XFrameKernelSet::Reference;
    return sBest;
}

XFrameKernelSet XFrame_UseKernelSet(XFrameKernelSet set) {
    if (!CpuHas(set)) {
        set = XFrame_BestKernelSet();
    }
    sCurrentSet.store(set);
    sCurrentKernels.store(&KernelsOf(set));
    return set;
}

XFrameKernelSet XFrame_CurrentKernelSet() {
    XFrameCurrentRowKernels();  // makes the first choice if none was made yet
    return sCurrentSet.load();
}

XFrameRowKernels const& XFrameCurrentRowKernels() {
    XFrameRowKernels const* kernels = sCurrentKernels.load(std::memory_order_acquire);
    if (kernels == nullptr) {
        XFrame_UseKernelSet(XFrame_BestKernelSet());
        kernels = sCurrentKernels.load();
    }
    return *kernels;
}

char const* XFrame_KernelSetName(XFrameKernelSet set) {
    switch (set) {
        case XFrameKernelSet::Reference:
            return "Reference";
        case XFrameKernelSet::SSE2:
            return "SSE2";
        case XFrameKernelSet::AVX2:
            return "AVX2";
    }
    return "?";
}

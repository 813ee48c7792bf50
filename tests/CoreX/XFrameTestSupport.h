#pragma once
// Helpers for the frame tests: frames in memory of their own whose last byte is the last
// byte of the allocation (so AddressSanitizer reports any read or write past a frame),
// and a kernel-set guard.

#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

#include "CoreX/XFrameOperations.h"

namespace XFrameTest {

// Row bytes rounded up to the vector alignment.
inline int32_t AlignedRowBytes(int width, int bytesPerPixel = 4) {
    return (width * bytesPerPixel + 15) / 16 * 16;
}

// A frame in a block of its own. `offset` bytes of the block come before the frame (a
// non-multiple of 16 makes the first row unaligned); a negative rowBytes stores the frame
// bottom-up. Either way the block ends exactly where the frame's last stored byte ends.
class FlushFrame {
public:
    FlushFrame(int width, int height, int32_t rowBytes, size_t offset = 0,
               XFrame_Pel_Format type = kXFrame_Pel_8RGB) {
        int32_t const stride = rowBytes < 0 ? -rowBytes : rowBytes;
        size_t const span = size_t(height - 1) * size_t(stride) + size_t(width) * 4;
        mSize = offset + span;
        void* block = nullptr;
        if (posix_memalign(&block, 16, mSize) != 0) {
            std::abort();
        }
        mBlock = static_cast<uint8_t*>(block);
        mFrame.Width = width;
        mFrame.Height = height;
        mFrame.PixelType = type;
        mFrame.BytesPerPixel = 4;
        mFrame.RowBytes = rowBytes;
        mFrame.Pixels = mBlock + offset + (rowBytes < 0 ? size_t(height - 1) * stride : 0);
    }
    ~FlushFrame() { std::free(mBlock); }
    FlushFrame(FlushFrame const&) = delete;
    FlushFrame& operator=(FlushFrame const&) = delete;

    // An aligned frame with the tightest aligned row bytes.
    static FlushFrame Aligned(int width, int height) {
        return FlushFrame(width, height, AlignedRowBytes(width));
    }

    XFrameBuffer& operator*() { return mFrame; }
    XFrameBuffer* operator->() { return &mFrame; }

    void Randomize(std::mt19937& random) {
        for (size_t i = 0; i < mSize; ++i) {
            mBlock[i] = uint8_t(random());
        }
    }
    void Fill(uint8_t value) {
        for (size_t i = 0; i < mSize; ++i) {
            mBlock[i] = value;
        }
    }
    // Every byte of the block, row padding included.
    std::vector<uint8_t> Bytes() const { return std::vector<uint8_t>(mBlock, mBlock + mSize); }
    uint8_t* Pixel(int x, int y) { return mFrame.Pixels + intptr_t(y) * mFrame.RowBytes + 4 * x; }
    // Sets all four bytes of every pixel of row y.
    void SetRow(int y, uint8_t value) {
        for (int x = 0; x < mFrame.Width; ++x) {
            for (int c = 0; c < 4; ++c) {
                Pixel(x, y)[c] = value;
            }
        }
    }

private:
    uint8_t* mBlock = nullptr;
    size_t mSize = 0;
    XFrameBuffer mFrame;
};

// Selects a kernel set for one scope.
class KernelSetScope {
public:
    explicit KernelSetScope(XFrameKernelSet set) : mSaved(XFrame_CurrentKernelSet()) {
        mInUse = XFrame_UseKernelSet(set);
    }
    ~KernelSetScope() { XFrame_UseKernelSet(mSaved); }
    bool Got(XFrameKernelSet set) const { return mInUse == set; }

private:
    XFrameKernelSet mSaved;
    XFrameKernelSet mInUse;
};

}  // namespace XFrameTest

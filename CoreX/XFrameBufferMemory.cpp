#include "CoreX/XFrameBufferMemory.h"

#include <cstdlib>
#include <limits>
#include <utility>

#include "CoreX/CoreMachDebugLog.h"

namespace {

constexpr size_t kBlockAlignment = 16;
constexpr int64_t kSpareRowBytes = 64;  // each row carries 64 bytes past its pixels
constexpr int64_t kSpareRows = 4;       // the guard row above and three rows below

}  // namespace

XFrameBufferMemory::XFrameBufferMemory(XFrameBufferMemory&& other) noexcept {
    *this = std::move(other);
}

XFrameBufferMemory& XFrameBufferMemory::operator=(XFrameBufferMemory&& other) noexcept {
    if (this != &other) {
        Empty();
        m_base_malloc = std::exchange(other.m_base_malloc, nullptr);
        m_frame_start = std::exchange(other.m_frame_start, nullptr);
        m_frame_stride_bytes = std::exchange(other.m_frame_stride_bytes, 0);
        m_malloc_size = std::exchange(other.m_malloc_size, 0);
        m_width = std::exchange(other.m_width, 0);
        m_height = std::exchange(other.m_height, 0);
    }
    return *this;
}

bool XFrameBufferMemory::SetFrameDimensions(int width, int height) {
    Empty();
    bool fOk;
    VERIFY(fOk = (width >= 0 && height >= 0));
    if (!fOk) {
        return false;
    }
    int64_t const stride = 4 * int64_t(width) + kSpareRowBytes;
    VERIFY(fOk = (stride <= std::numeric_limits<int32_t>::max()));
    if (!fOk) {
        return false;
    }
    int32_t const frame_stride_bytes = int32_t(stride);
    // The frame starts one whole row plus 16 bytes into the block: a guard row above it, and
    // the first pixel keeps the block's 16-byte alignment.
    size_t const frame_start_offset = size_t(4 * int64_t(width) + kSpareRowBytes + 16);
    size_t const frame_malloc_size = size_t((int64_t(height) + kSpareRows) * stride);
    // clang-format off
    VERIFY(frame_malloc_size!=0);
    // clang-format on
    if (frame_malloc_size == 0) {
        return false;
    }
    VERIFY(Construct(frame_malloc_size, frame_start_offset, frame_stride_bytes));
    if (IsEmpty()) {
        return false;
    }
    m_width = width;
    m_height = height;
    return true;
}

bool XFrameBufferMemory::Construct(size_t frame_malloc_size, size_t frame_start_offset,
                                   int32_t frame_stride_bytes) {
    void* block = nullptr;
    if (posix_memalign(&block, kBlockAlignment, frame_malloc_size) != 0) {
        block = nullptr;
    }
    m_base_malloc = static_cast<uint8_t*>(block);
    VERIFY(m_base_malloc);
    if (m_base_malloc == nullptr) {
        return false;
    }
    m_frame_start = m_base_malloc + frame_start_offset;
    m_frame_stride_bytes = frame_stride_bytes;
    m_malloc_size = frame_malloc_size;
    return true;
}

void XFrameBufferMemory::Empty() {
    std::free(m_base_malloc);
    m_base_malloc = nullptr;
    m_frame_start = nullptr;
    m_frame_stride_bytes = 0;
    m_malloc_size = 0;
    m_width = 0;
    m_height = 0;
}

#pragma once
// One heap block holding a 32-bit frame laid out for the vector operations: 16-byte aligned
// rows of 4 x width + 64 bytes, a guard row above the frame and spare rows below it.

#include <cstddef>
#include <cstdint>

class XFrameBufferMemory {
public:
    XFrameBufferMemory() = default;
    XFrameBufferMemory(int width, int height) { SetFrameDimensions(width, height); }
    ~XFrameBufferMemory() { Empty(); }

    XFrameBufferMemory(XFrameBufferMemory const&) = delete;
    XFrameBufferMemory& operator=(XFrameBufferMemory const&) = delete;
    XFrameBufferMemory(XFrameBufferMemory&& other) noexcept;
    XFrameBufferMemory& operator=(XFrameBufferMemory&& other) noexcept;

    // Frees any block, then allocates one for a width x height frame. The block is not
    // cleared. Returns false (logged) and stays empty when the size is refused or the
    // allocation fails.
    bool SetFrameDimensions(int width, int height);
    void Empty();

    bool IsEmpty() const { return m_base_malloc == nullptr; }
    uint8_t* FramePixels() const { return m_frame_start; }  // first pixel, 16-byte aligned
    int32_t StrideBytes() const { return m_frame_stride_bytes; }
    uint8_t const* BaseMalloc() const { return m_base_malloc; }
    size_t MallocSize() const { return m_malloc_size; }
    // Whether `p` points into the block.
    bool Holds(uint8_t const* p) const {
        return m_base_malloc != nullptr && p >= m_base_malloc && p < m_base_malloc + m_malloc_size;
    }
    int Width() const { return m_width; }
    int Height() const { return m_height; }

private:
    bool Construct(size_t frame_malloc_size, size_t frame_start_offset, int32_t frame_stride_bytes);

    uint8_t* m_base_malloc = nullptr;  // owned, 16-byte aligned
    uint8_t* m_frame_start = nullptr;  // inside the block, one row and 16 bytes in
    int32_t m_frame_stride_bytes = 0;
    size_t m_malloc_size = 0;
    int m_width = 0;
    int m_height = 0;
};

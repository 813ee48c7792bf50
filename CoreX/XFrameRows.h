#pragma once
// Row arithmetic shared by the portable and the vector frame operations.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "CoreX/XFrameBuffer.h"

namespace XFrameRows {

// Pixels to work on: memory, a size and a pixel step.
inline bool IsUsable(XFrameBuffer const& frame) {
    return frame.Pixels != nullptr && frame.Width > 0 && frame.Height > 0 &&
           frame.BytesPerPixel > 0;
}

inline uint8_t* Row(XFrameBuffer const& frame, int32_t y) {
    return frame.Pixels + intptr_t(y) * frame.RowBytes;
}

// The bytes of a row that hold pixels (row padding excluded).
inline int32_t RowLength(XFrameBuffer const& frame) { return frame.Width * frame.BytesPerPixel; }

// The row walks the portable and the vector de-interlacers share; they differ only in how
// two rows are averaged (truncating or rounding up), which `average(a, b, out, bytes)` does.

// Both rows of each pair 2k, 2k + 1 become the average of the pair.
template <typename Average>
void AveragePairsOfRows(XFrameBuffer const& src, XFrameBuffer& dst, Average average) {
    int32_t const length = RowLength(src);
    for (int32_t y = 0; y + 1 < src.Height; y += 2) {
        average(Row(src, y), Row(src, y + 1), Row(dst, y), length);
        std::memcpy(Row(dst, y + 1), Row(dst, y), size_t(length));
    }
}

// Rebuilds the frame from field 0 or 1: row 2k is field row k (source row 2k + field), row
// 2k + 1 the average of field rows k and k + 1 (the last one repeated). Rows 2k + field and
// 2k + 2 + field are read before rows 2k and 2k + 1 are written, so it may run in place.
template <typename Average>
void RebuildFromOneField(XFrameBuffer const& src, XFrameBuffer& dst, int field, Average average) {
    int32_t const length = RowLength(src);
    int32_t const fieldRows = src.Height / 2;
    for (int32_t k = 0; k < fieldRows; ++k) {
        uint8_t const* current = Row(src, 2 * k + field);
        uint8_t const* next = Row(src, 2 * (k + 1 < fieldRows ? k + 1 : k) + field);
        if (Row(dst, 2 * k) != current) {
            std::memmove(Row(dst, 2 * k), current, size_t(length));
            current = Row(dst, 2 * k);
        }
        average(current, next, Row(dst, 2 * k + 1), length);
    }
}

}  // namespace XFrameRows

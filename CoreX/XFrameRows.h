#pragma once
// Row arithmetic shared by the portable and the vector frame operations.

#include <cstdint>

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

}  // namespace XFrameRows

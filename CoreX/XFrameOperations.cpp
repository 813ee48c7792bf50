// The portable frame operations: copy, blacken, the de-interlace entries with their
// truncating byte loops, and the resize entries.

#include "CoreX/XFrameOperations.h"

#include <cstring>

#include "CoreX/CoreMachDebugLog.h"
#include "CoreX/XFrameRows.h"

namespace {

// What two frames must share for a copy.
struct XFrameGeometry {
    explicit XFrameGeometry(XFrameBuffer const& frame)
        : pixelType(frame.PixelType),
          width(frame.Width),
          height(frame.Height),
          rowBytes(frame.RowBytes) {}
    bool operator==(XFrameGeometry const&) const = default;

    XFrame_Pel_Format pixelType;
    int32_t width;
    int32_t height;
    int32_t rowBytes;
};

using XFrameRows::IsUsable;
using XFrameRows::Row;
using XFrameRows::RowLength;

bool DeinterlaceArgumentsOk(XFrameBuffer const& src, XFrameBuffer const& dst) {
    return IsUsable(src) && src.SameGeometry(dst) && dst.Pixels != nullptr && (src.Height % 2) == 0;
}

bool IsYUV(XFrameBuffer const& frame) {
    return frame.PixelType == kXFrame_Pel_RYUV || frame.PixelType == kXFrame_Pel_VYUV;
}

XFrameBlackenScanLine BlackScanLineFor(XFrameBuffer const& frame) {
    return IsYUV(frame) ? XFrameBlacken_r408_ScanLine : XFrameBlacken_ARGB_ScanLine;
}

void AverageTruncate(uint8_t const* a, uint8_t const* b, uint8_t* dst, int32_t bytes) {
    for (int32_t i = 0; i < bytes; ++i) {
        dst[i] = uint8_t((a[i] + b[i]) >> 1);
    }
}

int Clamp(int value, int low, int high) {
    return value < low ? low : (value > high ? high : value);
}

}  // namespace

bool XFrame_CopyBufferMemory(XFrameBuffer const& src, XFrameBuffer& dst) {
    XFrameGeometry const Source(src);
    XFrameGeometry const Destination(dst);
    // clang-format off
    VERIFY(Source==Destination);
    // clang-format on
    if (!(Source == Destination)) {
        return false;
    }
    int64_t const length = int64_t(src.BytesPerPixel) * src.Width;
    if (src.Height < 1 || length < 1) {
        return true;
    }
    if (src.Pixels == nullptr || dst.Pixels == nullptr) {
        return false;
    }
    // Each row is moved overlap-safely; when the destination lies past the source, going
    // from the last row up keeps rows that overlap the next one intact until they are read.
    bool const upward = dst.Pixels > src.Pixels;
    for (int32_t i = 0; i < src.Height; ++i) {
        int32_t const y = upward ? src.Height - 1 - i : i;
        std::memmove(Row(dst, y), Row(src, y), size_t(length));
    }
    return true;
}

void XFrameBlacken_r408_ScanLine(uint8_t* row, int32_t rowLengthBytes) {
    static constexpr uint8_t kBlack[4] = {255, 0, 128, 128};
    for (int32_t i = 0; i < rowLengthBytes / 4; ++i) {
        std::memcpy(row + 4 * i, kBlack, 4);
    }
}

void XFrameBlacken_ARGB_ScanLine(uint8_t* row, int32_t rowLengthBytes) {
    if (rowLengthBytes > 0) {
        std::memset(row, 0, size_t(rowLengthBytes));
    }
}

bool XFrame_BlackenWith(XFrameBuffer& frame, XFrameBlackenScanLine scanLine) {
    if (!IsUsable(frame) || scanLine == nullptr) {
        return false;
    }
    // Rows are taken as packed (Width x BytesPerPixel apart), not RowBytes apart.
    int32_t const length = RowLength(frame);
    for (int32_t y = 0; y < frame.Height; ++y) {
        scanLine(frame.Pixels + intptr_t(y) * length, length);
    }
    return true;
}

bool XFrame_Blacken(XFrameBuffer& frame) {
    return XFrame_BlackenWith(frame, BlackScanLineFor(frame));
}

bool XFrame_BlackenField(XFrameBuffer& frame, int field) {
    if (!IsUsable(frame) || field < 0) {
        return false;
    }
    int32_t const length = RowLength(frame);
    for (int32_t y = field; y < frame.Height; y += 2) {
        std::memset(Row(frame, y), 0, size_t(length));
    }
    return true;
}

bool XFrame_BlackenEdges(XFrameBuffer& frame, XFrameEdges const& edges) {
    if (!IsUsable(frame)) {
        return false;
    }
    XFrameBlackenScanLine const scanLine = BlackScanLineFor(frame);
    int const left = Clamp(edges.Left, 0, frame.Width);
    int const right = Clamp(edges.Right, 0, frame.Width);
    int const top = Clamp(edges.Top, 0, frame.Height);
    int const bottom = Clamp(edges.Bottom, 0, frame.Height);
    int32_t const length = RowLength(frame);
    for (int32_t y = 0; y < frame.Height; ++y) {
        uint8_t* row = Row(frame, y);
        if (y < top || y >= frame.Height - bottom) {
            scanLine(row, length);
            continue;
        }
        scanLine(row, left * frame.BytesPerPixel);
        scanLine(row + (frame.Width - right) * frame.BytesPerPixel, right * frame.BytesPerPixel);
    }
    return true;
}

bool XFrame_Deinterlace(XFrameBuffer const& src, XFrameBuffer& dst, XFrameFilters const& filters) {
    if (!DeinterlaceArgumentsOk(src, dst) || (filters & kXFrameFilter_Reserved) != 0) {
        return false;
    }
    if ((filters & (kXFrameFilter_BlendTypeA | kXFrameFilter_BlendTypeB)) != 0) {
        return XFrame_BlendFields(src, dst, filters);
    }
    if ((filters & kXFrameFilter_TopFieldOnly) != 0) {
        return XFrame_OneFieldOnly(src, dst, 0);
    }
    if ((filters & kXFrameFilter_BottomFieldOnly) != 0) {
        return XFrame_OneFieldOnly(src, dst, 1);
    }
    return false;
}

bool XFrame_BlendFields(XFrameBuffer const& src, XFrameBuffer& dst, XFrameFilters const& filters) {
    if (!DeinterlaceArgumentsOk(src, dst) || (filters & kXFrameFilter_Reserved) != 0) {
        return false;
    }
    if ((filters & kXFrameFilter_BlendTypeA) != 0) {
        return XFrame_BlendFields_TypeA_Altivec(src, dst) ||
               XFrame_BlendFields_TypeA_Portable(src, dst);
    }
    return XFrame_BlendFields_TypeB_Altivec(src, dst) ||
           XFrame_BlendFields_TypeB_Portable(src, dst);
}

bool XFrame_BlendFields_TypeA_Portable(XFrameBuffer const& src, XFrameBuffer& dst) {
    if (!DeinterlaceArgumentsOk(src, dst)) {
        return false;
    }
    int32_t const length = RowLength(src);
    int32_t const last = src.Height - 1;
    for (int32_t y = 0; y < src.Height; ++y) {
        uint8_t const* above = Row(src, y > 0 ? y - 1 : 0);
        uint8_t const* row = Row(src, y);
        uint8_t const* below = Row(src, y < last ? y + 1 : last);
        uint8_t* out = Row(dst, y);
        for (int32_t i = 0; i < length; ++i) {
            int const outer = (above[i] + below[i]) >> 1;
            out[i] = uint8_t((outer + row[i]) >> 1);
        }
    }
    return true;
}

bool XFrame_BlendFields_TypeB_Portable(XFrameBuffer const& src, XFrameBuffer& dst) {
    if (!DeinterlaceArgumentsOk(src, dst)) {
        return false;
    }
    XFrameRows::AveragePairsOfRows(src, dst, AverageTruncate);
    return true;
}

bool XFrame_OneFieldOnly(XFrameBuffer const& src, XFrameBuffer& dst, int field) {
    return XFrame_OneFieldOnly_Altivec(src, dst, field) ||
           XFrame_OneFieldOnly_Portable(src, dst, field);
}

bool XFrame_OneFieldOnly_Portable(XFrameBuffer const& src, XFrameBuffer& dst, int field) {
    if ((field != 0 && field != 1) || !DeinterlaceArgumentsOk(src, dst)) {
        return false;
    }
    XFrameRows::RebuildFromOneField(src, dst, field, AverageTruncate);
    return true;
}

bool XFrame_DeInterlaceAdaptive(XFrameBuffer const&, XFrameBuffer&, XFrameFilters const&) {
    return false;  // adaptive de-interlacing exists only as the vector form
}

bool XFrame_ResizeNearestPixel(XFrameBuffer const& src, XFrameBuffer& dst) {
    if (!IsUsable(src) || !IsUsable(dst) || src.BytesPerPixel < 4) {
        return true;  // nothing to draw from or into
    }
    // Every destination pixel is written as four bytes.
    bool const fDestination32Bit = dst.BytesPerPixel == 4;
    VERIFY(fDestination32Bit);
    if (!fDestination32Bit) {
        return false;
    }
    double const ratioX = double(src.Width) / double(dst.Width);
    double const ratioY = double(src.Height) / double(dst.Height);
    double sy = 0.0;
    for (int32_t y = 0; y < dst.Height; ++y, sy += ratioY) {
        int32_t const iy = int32_t(sy) < src.Height ? int32_t(sy) : src.Height - 1;
        uint8_t const* srcRow = Row(src, iy);
        uint8_t* dstRow = Row(dst, y);
        double sx = 0.0;
        for (int32_t x = 0; x < dst.Width; ++x, sx += ratioX) {
            int32_t const ix = int32_t(sx) < src.Width ? int32_t(sx) : src.Width - 1;
            std::memcpy(dstRow + 4 * x, srcRow + intptr_t(ix) * src.BytesPerPixel, 4);
        }
    }
    return true;
}

bool XFrame_ResizeBilinear(XFrameBuffer const& src, XFrameBuffer& dst) {
    return XFrame_ResizeBilinear_Altivec(src, dst);
}

bool XFrame_ResizeBilinear(XFrameBuffer const& src, XFrameBuffer& dst, bool whole) {
    return whole ? XFrame_ResizeBilinear(src, dst) : XFrame_ResizeBilinearWithFields(src, dst);
}

bool XFrame_ResizeBilinearWithFields(XFrameBuffer const& src, XFrameBuffer& dst) {
    XFrameBuffer srcTop;
    XFrameBuffer srcBottom;
    XFrameBuffer dstTop;
    XFrameBuffer dstBottom;
    src.GetFields(srcTop, srcBottom);
    dst.GetFields(dstTop, dstBottom);
    bool const topOk = XFrame_ResizeBilinear_Altivec(srcTop, dstTop);
    bool const bottomOk = XFrame_ResizeBilinear_Altivec(srcBottom, dstBottom);
    return topOk && bottomOk;
}

// The vector forms of the frame operations: argument and alignment checks, then one row
// kernel per row from the table in use (XFrameRowKernels).

#include <cmath>
#include <cstdint>
#include <cstring>

#include "CoreX/XFrameOperations.h"
#include "CoreX/XFrameRowKernels.h"
#include "CoreX/XFrameRows.h"

namespace {

constexpr uintptr_t kVectorAlignment = 16;

char const kSrcRow0Message[] = "srcrow0 is not aligned on a 16-byte boundary\n";
char const kSrcRow1Message[] = "srcrow1 is not aligned on a 16-byte boundary\n";
char const kDestRow0Message[] = "destrow0 is not aligned on a 16-byte boundary\n";
char const kRowBytesMessage[] = "rowbytes is not aligned on a 16-byte boundary\n";

bool IsAligned(void const* p) { return (reinterpret_cast<uintptr_t>(p) % kVectorAlignment) == 0; }

bool RowBytesAligned(XFrameBuffer const& frame) {
    return (frame.RowBytes % int32_t(kVectorAlignment)) == 0;
}

using XFrameRows::IsUsable;
using XFrameRows::Row;
using XFrameRows::RowLength;

// Same geometry, usable frames, aligned rows: what every two-frame vector form needs.
bool SameGeometryAligned(XFrameBuffer const& src, XFrameBuffer const& dst) {
    return IsUsable(src) && src.SameGeometry(dst) && dst.Pixels != nullptr &&
           XFrame_VectorAlignmentMessage(&src, nullptr, dst) == nullptr;
}

// The de-interlacers' checks: the above and an even height.
bool DeinterlaceArgumentsOk(XFrameBuffer const& src, XFrameBuffer const& dst) {
    return SameGeometryAligned(src, dst) && (src.Height % 2) == 0;
}

}  // namespace

char const* XFrame_VectorAlignmentMessage(XFrameBuffer const* src0, XFrameBuffer const* src1,
                                          XFrameBuffer const& dst) {
    if (src0 != nullptr && !IsAligned(src0->Pixels)) {
        return kSrcRow0Message;
    }
    if (src1 != nullptr && !IsAligned(src1->Pixels)) {
        return kSrcRow1Message;
    }
    if (!IsAligned(dst.Pixels)) {
        return kDestRow0Message;
    }
    if ((src0 != nullptr && !RowBytesAligned(*src0)) ||
        (src1 != nullptr && !RowBytesAligned(*src1)) || !RowBytesAligned(dst)) {
        return kRowBytesMessage;
    }
    return nullptr;
}

bool XFrame_BlendFields_TypeA_Altivec(XFrameBuffer const& src, XFrameBuffer& dst) {
    if (!DeinterlaceArgumentsOk(src, dst)) {
        return false;
    }
    XFrameRowKernels const& kernels = XFrameCurrentRowKernels();
    int32_t const length = RowLength(src);
    int32_t const last = src.Height - 1;
    for (int32_t y = 0; y < src.Height; ++y) {
        uint8_t const* above = Row(src, y > 0 ? y - 1 : 0);
        uint8_t const* below = Row(src, y < last ? y + 1 : last);
        kernels.BlendTypeA(above, Row(src, y), below, Row(dst, y), length);
    }
    return true;
}

bool XFrame_BlendFields_TypeB_Altivec(XFrameBuffer const& src, XFrameBuffer& dst) {
    if (!DeinterlaceArgumentsOk(src, dst)) {
        return false;
    }
    XFrameRows::AveragePairsOfRows(src, dst, XFrameCurrentRowKernels().AverageRound);
    return true;
}

bool XFrame_OneFieldOnly_Altivec(XFrameBuffer const& src, XFrameBuffer& dst, int field) {
    if ((field != 0 && field != 1) || !DeinterlaceArgumentsOk(src, dst)) {
        return false;
    }
    XFrameRows::RebuildFromOneField(src, dst, field, XFrameCurrentRowKernels().AverageRound);
    return true;
}

bool XFrame_DeInterlaceAdaptive_Altivec(XFrameBuffer const& src, XFrameBuffer& dst,
                                        double& motion) {
    if (!DeinterlaceArgumentsOk(src, dst) || src.BytesPerPixel != 4) {
        return false;
    }
    XFrameRowKernels const& kernels = XFrameCurrentRowKernels();
    int32_t const length = RowLength(src);
    uint64_t sum = 0;
    // Reads rows y, y + 1 and y + 2 before row y + 2 is written, so it may run in place.
    for (int32_t y = 0; y < src.Height; y += 2) {
        if (Row(dst, y) != Row(src, y)) {
            std::memmove(Row(dst, y), Row(src, y), size_t(length));
        }
        uint8_t const* below = Row(src, y + 2 < src.Height ? y + 2 : y);
        sum += kernels.Adaptive(Row(src, y), Row(src, y + 1), below, Row(dst, y + 1), src.Width,
                                uint8_t(kXFrameAdaptiveMotionThreshold));
    }
    motion = double(sum) / (double(length) * double(src.Height / 2));
    return true;
}

bool XFrame_ResizeBilinear_Altivec(XFrameBuffer const& src, XFrameBuffer& dst) {
    if (!IsUsable(src) || !IsUsable(dst) || src.BytesPerPixel != 4 || dst.BytesPerPixel != 4 ||
        src.PixelType != dst.PixelType ||
        XFrame_VectorAlignmentMessage(&src, nullptr, dst) != nullptr) {
        return false;
    }
    XFrameRowKernels const& kernels = XFrameCurrentRowKernels();
    float const scaleX = float(src.Width) / float(dst.Width);
    float const scaleY = float(src.Height) / float(dst.Height);
    for (int32_t y = 0; y < dst.Height; ++y) {
        XFrameBilinearSource const s = XFrameBilinearSourceAt(y, scaleY, src.Height);
        kernels.BilinearRow(Row(src, s.lower), Row(src, s.upper), s.weight, src.Width, scaleX,
                            Row(dst, y), 0, dst.Width);
    }
    return true;
}

bool XFrame_DifferenceDelta_Altivec(XFrameBuffer const& a, XFrameBuffer const& b,
                                    XFrameBuffer& dst) {
    if (!IsUsable(a) || !a.SameGeometry(b) || !a.SameGeometry(dst) || b.Pixels == nullptr ||
        dst.Pixels == nullptr || XFrame_VectorAlignmentMessage(&a, &b, dst) != nullptr) {
        return false;
    }
    XFrameRowKernels const& kernels = XFrameCurrentRowKernels();
    int32_t const length = RowLength(a);
    for (int32_t y = 0; y < a.Height; ++y) {
        kernels.AbsDiff(Row(a, y), Row(b, y), Row(dst, y), length);
    }
    return true;
}

bool XFrame_DifferenceDelta_Altivec(XFrameBuffer const& a, XFrameBuffer& dst) {
    return XFrame_DifferenceDelta_Altivec(a, dst, dst);
}

bool XFrame_BlendFrames_Altivec(XFrameBuffer const& a, double wa, XFrameBuffer const& b, double wb,
                                XFrameBuffer& dst) {
    if (!IsUsable(a) || !a.SameGeometry(b) || !a.SameGeometry(dst) || b.Pixels == nullptr ||
        dst.Pixels == nullptr || XFrame_VectorAlignmentMessage(&a, &b, dst) != nullptr) {
        return false;
    }
    XFrameRowKernels const& kernels = XFrameCurrentRowKernels();
    int32_t const length = RowLength(a);
    for (int32_t y = 0; y < a.Height; ++y) {
        kernels.Weighted(Row(a, y), float(wa), Row(b, y), float(wb), Row(dst, y), length);
    }
    return true;
}

bool XFrame_SwapFields_Altivec(XFrameBuffer& frame) {
    if (!IsUsable(frame) || XFrame_VectorAlignmentMessage(nullptr, nullptr, frame) != nullptr) {
        return false;
    }
    XFrameRowKernels const& kernels = XFrameCurrentRowKernels();
    int32_t const length = RowLength(frame);
    for (int32_t y = 0; y + 1 < frame.Height; y += 2) {
        kernels.SwapRows(Row(frame, y), Row(frame, y + 1), length);
    }
    return true;
}

bool XFrame_FullD1_2_VCD_Altivec(XFrameBuffer const& src, XFrameBuffer& dst, bool bottomField) {
    if (!IsUsable(src) || !IsUsable(dst) || src.BytesPerPixel != 4 || dst.BytesPerPixel != 4 ||
        src.PixelType != dst.PixelType || dst.Width != src.Width / 2 ||
        dst.Height != src.Height / 2 ||
        XFrame_VectorAlignmentMessage(&src, nullptr, dst) != nullptr) {
        return false;
    }
    XFrameRowKernels const& kernels = XFrameCurrentRowKernels();
    int32_t const field = bottomField ? 1 : 0;
    for (int32_t y = 0; y < dst.Height; ++y) {
        kernels.HalvePixels(Row(src, 2 * y + field), Row(dst, y), dst.Width);
    }
    return true;
}

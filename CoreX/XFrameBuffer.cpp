#include "CoreX/XFrameBuffer.h"

#include "CoreX/CoreMachDebugLog.h"

namespace {

struct FrameTypeRow {
    int width;
    int height;
    int type;
};

// Standard video frame sizes; the first match wins. Types 4, 12 and 13 have no size.
constexpr FrameTypeRow kFrameTypes[] = {
    {352, 240, 1},  {352, 288, 2},   {640, 480, 3},    {640, 486, 3},    {352, 480, 5},
    {704, 480, 6},  {704, 486, 6},   {720, 480, 6},    {720, 486, 6},    {768, 480, 7},
    {768, 486, 7},  {352, 576, 8},   {704, 576, 9},    {720, 576, 9},    {768, 576, 10},
    {800, 600, 11}, {1280, 720, 14}, {1920, 1080, 15}, {1920, 1088, 15}, {1920, 1152, 16},
    {0, 0, 0},
};

// Types 3, 4, 6, 7, 9, 10 and 15 are interlaced video.
constexpr uint32_t kInterlacedTypes = 0x86D8;

}  // namespace

uint32_t QuickTimeFourCharCodeFromPelFormat(XFrame_Pel_Format pelFormat) {
    switch (pelFormat) {
        case kXFrame_Pel_RYUV:
            return kXFramePixelFormat_r408;
        case kXFrame_Pel_VYUV:
            return kXFramePixelFormat_v408;
        default:
            return kXFramePixelFormat_32ARGB;
    }
}

XFrame_Pel_Format PelFormatFromQuickTimeFourCharCode(uint32_t pixelFormat) {
    switch (pixelFormat) {
        case kXFramePixelFormat_r408:
            return kXFrame_Pel_RYUV;
        case kXFramePixelFormat_v408:
            return kXFrame_Pel_VYUV;
        default:
            return kXFrame_Pel_8RGB;
    }
}

int XFrameBuffer::FrameTypeOf(int width, int height) {
    for (FrameTypeRow const& row : kFrameTypes) {
        if (row.type == 0) {
            break;
        }
        if (row.width == width && row.height == height) {
            return row.type;
        }
    }
    return 0;
}

int XFrameBuffer::FrameTypeOf() const { return FrameTypeOf(Width, Height); }

bool XFrameBuffer::HasTwoFields() const {
    if (Fields != 0) {
        return (Fields & kXFrameFields_Two) != 0;
    }
    if ((kInterlacedTypes >> FrameTypeOf()) & 1) {
        return true;
    }
    return Height >= 480 && (Height % 2) == 0;
}

void XFrameBuffer::GetCroppedBuffer(XFrameBuffer& out, int left, int top, int right,
                                    int bottom) const {
    out = *this;
    out.Width = Width - (left + right);
    out.Height = Height - (top + bottom);
    out.Pixels = Pixels + static_cast<intptr_t>(BytesPerPixel) * left +
                 static_cast<intptr_t>(RowBytes) * top;
}

void XFrameBuffer::GetTopField(XFrameBuffer& out) const {
    out = *this;
    out.Fields = kXFrameFields_One;
    out.Height = Height / 2;
    out.RowBytes = RowBytes * 2;
}

void XFrameBuffer::GetBottomField(XFrameBuffer& out) const {
    GetTopField(out);
    out.Pixels = Pixels + RowBytes;
}

void XFrameBuffer::GetFields(XFrameBuffer& top, XFrameBuffer& bottom) const {
    GetTopField(top);
    GetBottomField(bottom);
}

void XFrameBuffer::CoreDebugPrint(char const* title) const {
    CoreMachDebugLog("-----------\n%s XFrameBuffer Properties\n", title);
    CoreMachDebugLog("Width,Height = (%d,%d)\n", Width, Height);
    CoreMachDebugLog("Fields  = %04x\n", Fields);
}

bool XFrameBuffer::SameGeometry(XFrameBuffer const& other) const {
    return PixelType == other.PixelType && Width == other.Width && Height == other.Height &&
           RowBytes == other.RowBytes;
}

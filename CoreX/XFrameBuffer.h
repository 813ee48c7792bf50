#pragma once
// A plain descriptor of a picture in memory that it does not own: the one type every
// per-pixel routine works on. Crops and single fields are made by arithmetic on it alone.

#include <cstdint>

// Pixel layouts, as four-character codes.
using XFrame_Pel_Format = uint32_t;
using XFramePixels = uint8_t*;

constexpr XFrame_Pel_Format XFrameFourCC(char const (&code)[5]) {
    return (uint32_t(uint8_t(code[0])) << 24) | (uint32_t(uint8_t(code[1])) << 16) |
           (uint32_t(uint8_t(code[2])) << 8) | uint32_t(uint8_t(code[3]));
}

constexpr XFrame_Pel_Format kXFrame_Pel_None = XFrameFourCC("0000");  // empty descriptor
constexpr XFrame_Pel_Format kXFrame_Pel_RYUV = XFrameFourCC("RYUV");  // Y'CbCrA, 'r408' order
constexpr XFrame_Pel_Format kXFrame_Pel_VYUV = XFrameFourCC("VYUV");  // Y'CbCrA, 'v408' order
constexpr XFrame_Pel_Format kXFrame_Pel_8RGB = XFrameFourCC("8RGB");  // 32-bit ARGB

// The pixel-format codes image descriptions use ('r408', 'v408', and 32 for 32-bit ARGB).
constexpr uint32_t kXFramePixelFormat_r408 = XFrameFourCC("r408");
constexpr uint32_t kXFramePixelFormat_v408 = XFrameFourCC("v408");
constexpr uint32_t kXFramePixelFormat_32ARGB = 32;

// Any type other than the two Y'CbCr ones is described as 32-bit ARGB, and any description
// code other than 'r408' and 'v408' is taken as "8RGB".
uint32_t QuickTimeFourCharCodeFromPelFormat(XFrame_Pel_Format pelFormat);
XFrame_Pel_Format PelFormatFromQuickTimeFourCharCode(uint32_t pixelFormat);

// Field layout flags; bit 0x0002 alone decides whether a frame has two fields. 0 = not known.
enum : uint32_t {
    kXFrameFields_One = 0x0001,  // progressive, and every single-field descriptor
    kXFrameFields_Two = 0x0002,  // two fields, order not known
    kXFrameFields_TopFirst = 0x0102,
    kXFrameFields_BottomFirst = 0x0202,
};

class XFrameBuffer {
public:
    XFrameBuffer() = default;
    XFrameBuffer(XFrameBuffer const&) = default;
    XFrameBuffer& operator=(XFrameBuffer const&) = default;
    virtual ~XFrameBuffer() = default;

    // The standard video frame type of this size (1 = 352 x 240 ... 16 = 1920 x 1152), or 0.
    int FrameTypeOf() const;
    static int FrameTypeOf(int width, int height);
    // From Fields when known; otherwise by frame type, or by an even height of 480 or more.
    bool HasTwoFields() const;

    // `out` = this descriptor less the margins (not checked against the size).
    void GetCroppedBuffer(XFrameBuffer& out, int left, int top, int right, int bottom) const;
    // One field: half the rows (rounded down), twice the row bytes; the bottom field starts
    // on the second row. With an odd height the last row belongs to neither field.
    void GetTopField(XFrameBuffer& out) const;
    void GetBottomField(XFrameBuffer& out) const;
    void GetFields(XFrameBuffer& top, XFrameBuffer& bottom) const;

    void CoreDebugPrint(char const* title) const;

    // Equal pixel type, width, height and row bytes: what two-frame operations require.
    bool SameGeometry(XFrameBuffer const& other) const;
    bool IsEmpty() const { return Pixels == nullptr; }
    // Resets every number to 0, Pixels to null and the type to "0000".
    void ClearDescriptor() { *this = XFrameBuffer(); }

    int32_t Width = 0;
    int32_t Height = 0;
    XFrame_Pel_Format PixelType = kXFrame_Pel_None;
    uint32_t Fields = 0;
    XFramePixels Pixels = nullptr;
    int32_t RowBytes = 0;
    int32_t BytesPerPixel = 0;
};

#pragma once
// A frame descriptor that also holds its picture: either vector-aligned memory it owns
// (XFrameBufferMemory) or memory owned elsewhere that it wraps, with a QImage view of the
// pixels where a 32-bit ARGB picture is needed. Replaces the platform's off-screen worlds.

#include <QImage>
#include <QRect>

#include "CoreX/XFrameBuffer.h"
#include "CoreX/XFrameBufferMemory.h"

class XFrameWorld : public XFrameBuffer {
public:
    XFrameWorld() = default;
    // A new vector-aligned frame of the same size and type holding a copy of the pixels.
    XFrameWorld(XFrameWorld const& other);
    XFrameWorld& operator=(XFrameWorld const&) = delete;
    ~XFrameWorld() override { Destruct(); }

    // An owned frame in XFrameBufferMemory's layout: 16-byte aligned first row and row bytes,
    // so every vector frame operation accepts it. The pixels are not cleared.
    bool Construct(int width, int height, XFrame_Pel_Format pelFormat);
    bool Construct(QRect const& bounds, XFrame_Pel_Format pelFormat);
    bool ConstructVecFrame(QRect const& bounds, XFrame_Pel_Format pelFormat);

    // Wraps memory owned elsewhere, which must outlive the world. pixelFormat is an image
    // description code ('r408', 'v408', anything else is 32-bit ARGB).
    bool ConstructPtrAlias(QRect const& bounds, void* pixels, long rowBytes, uint32_t pixelFormat);
    // Wraps another descriptor's pixels; this world must be empty.
    bool ConstructFrameBufferAlias(XFrameBuffer const& frame);
    // Wraps one field of a frame: field_order 0 is the top field, 1 the bottom one. A field
    // of this world's own pixels keeps them alive.
    bool ConstructFieldAlias(XFrameBuffer const& frame, int field_order);

    // A new owned frame of this size and the current type; the old pixels are not kept.
    bool SetNewWidthHeight(int width, int height);
    // Copies src's pixels in, by nearest pixel when the sizes differ.
    bool CopyBits(XFrameBuffer const& src);

    // Fields from an image description's field information (count 0 = none given).
    void SetFieldsFromFieldInfo(int fieldCount, int fieldOrdering);

    QRect Bounds() const { return QRect(0, 0, Width, Height); }
    // A view of the pixels without a copy, valid while the world keeps them: 32-bit
    // premultiplied ARGB for "8RGB" frames; null for the Y'CbCr types, which QImage cannot
    // show, and for bottom-up (negative row bytes) frames.
    QImage Image() const;
    bool OwnsPixels() const { return !mMemory.IsEmpty(); }

    // Releases owned memory and empties the descriptor.
    void Destruct();
    void Empty() { Destruct(); }

private:
    void Wrap(QRect const& bounds, uint8_t* pixels, int32_t rowBytes, uint32_t pixelFormat);

    XFrameBufferMemory mMemory;
};

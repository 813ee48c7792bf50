#include "CoreX/XFrameWorld.h"

#include <cstring>
#include <limits>

#include "CoreX/CoreMachDebugLog.h"
#include "CoreX/XFrameOperations.h"

XFrameWorld::XFrameWorld(XFrameWorld const& other) : XFrameBuffer() {
    if (other.IsEmpty() || !ConstructVecFrame(other.Bounds(), other.PixelType)) {
        return;
    }
    Fields = other.Fields;
    CopyBits(other);
}

bool XFrameWorld::Construct(int width, int height, XFrame_Pel_Format pelFormat) {
    return ConstructVecFrame(QRect(0, 0, width, height), pelFormat);
}

bool XFrameWorld::Construct(QRect const& bounds, XFrame_Pel_Format pelFormat) {
    return ConstructVecFrame(bounds, pelFormat);
}

bool XFrameWorld::ConstructVecFrame(QRect const& bounds, XFrame_Pel_Format pelFormat) {
    Destruct();
    bool fOk;
    VERIFY(fOk = (bounds.width() > 0 && bounds.height() > 0));
    if (!fOk) {
        return false;
    }
    mMemory.SetFrameDimensions(bounds.width(), bounds.height());
    uint8_t* vec_aligned_frame_pixels = mMemory.FramePixels();
    VERIFY(vec_aligned_frame_pixels);
    if (vec_aligned_frame_pixels == nullptr) {
        return false;
    }
    Wrap(bounds, vec_aligned_frame_pixels, mMemory.StrideBytes(),
         QuickTimeFourCharCodeFromPelFormat(pelFormat));
    return true;
}

bool XFrameWorld::ConstructPtrAlias(QRect const& bounds, void* pixels, long rowBytes,
                                    uint32_t pixelFormat) {
    Destruct();
    VERIFY(pixels);
    bool fOk;
    VERIFY(fOk = (bounds.width() > 0 && bounds.height() > 0));
    if (pixels == nullptr || !fOk) {
        return false;
    }
    VERIFY(fOk = (rowBytes >= std::numeric_limits<int32_t>::min() &&
                  rowBytes <= std::numeric_limits<int32_t>::max()));
    if (!fOk) {
        return false;
    }
    Wrap(bounds, static_cast<uint8_t*>(pixels), int32_t(rowBytes), pixelFormat);
    return true;
}

bool XFrameWorld::ConstructFrameBufferAlias(XFrameBuffer const& frame) {
    VERIFY(IsEmpty());
    if (!IsEmpty()) {
        return false;
    }
    VERIFY(frame.Pixels);
    if (frame.Pixels == nullptr) {
        return false;
    }
    Wrap(QRect(0, 0, frame.Width, frame.Height), frame.Pixels, frame.RowBytes,
         QuickTimeFourCharCodeFromPelFormat(frame.PixelType));
    Fields = frame.Fields;
    return true;
}

bool XFrameWorld::ConstructFieldAlias(XFrameBuffer const& frame, int field_order) {
    // clang-format off
    VERIFY((field_order==1) || (field_order==0));
    // clang-format on
    if (field_order != 0 && field_order != 1) {
        return false;
    }
    VERIFY(frame.Pixels);
    if (frame.Pixels == nullptr) {
        return false;
    }
    XFrameBuffer field;
    if (field_order == 0) {
        frame.GetTopField(field);
    } else {
        frame.GetBottomField(field);
    }
    // A field of this world's own pixels (the world itself, or a descriptor copied from it)
    // keeps the memory it lies in; anything else lets the old memory go.
    if (mMemory.Holds(field.Pixels)) {
        ClearDescriptor();
    } else {
        Destruct();
    }
    Wrap(QRect(0, 0, field.Width, field.Height), field.Pixels, field.RowBytes,
         QuickTimeFourCharCodeFromPelFormat(field.PixelType));
    Fields = kXFrameFields_One;
    return true;
}

bool XFrameWorld::SetNewWidthHeight(int width, int height) {
    XFrame_Pel_Format const pelFormat = IsEmpty() ? kXFrame_Pel_8RGB : PixelType;
    return ConstructVecFrame(QRect(0, 0, width, height), pelFormat);
}

bool XFrameWorld::CopyBits(XFrameBuffer const& src) {
    if (IsEmpty() || src.IsEmpty() || src.BytesPerPixel != BytesPerPixel) {
        return false;
    }
    if (src.Width != Width || src.Height != Height) {
        return XFrame_ResizeNearestPixel(src, *this);
    }
    size_t const length = size_t(Width) * size_t(BytesPerPixel);
    for (int32_t y = 0; y < Height; ++y) {
        std::memmove(Pixels + intptr_t(y) * RowBytes, src.Pixels + intptr_t(y) * src.RowBytes,
                     length);
    }
    return true;
}

void XFrameWorld::SetFieldsFromFieldInfo(int fieldCount, int fieldOrdering) {
    switch (fieldCount) {
        case 1:
            Fields = kXFrameFields_One;
            break;
        case 2:
            if (fieldOrdering == 1 || fieldOrdering == 9) {
                Fields = kXFrameFields_TopFirst;
            } else if (fieldOrdering == 6 || fieldOrdering == 14) {
                Fields = kXFrameFields_BottomFirst;
            } else {
                Fields = kXFrameFields_Two;
            }
            break;
        default:
            Fields = 0;
            break;
    }
}

QImage XFrameWorld::Image() const {
    if (IsEmpty() || PixelType != kXFrame_Pel_8RGB || RowBytes <= 0) {
        return QImage();
    }
    return QImage(Pixels, Width, Height, RowBytes, QImage::Format_ARGB32_Premultiplied);
}

void XFrameWorld::Destruct() {
    mMemory.Empty();
    ClearDescriptor();
}

void XFrameWorld::Wrap(QRect const& bounds, uint8_t* pixels, int32_t rowBytes,
                       uint32_t pixelFormat) {
    Width = bounds.width();
    Height = bounds.height();
    PixelType = PelFormatFromQuickTimeFourCharCode(pixelFormat);
    Fields = 0;
    Pixels = pixels;
    RowBytes = rowBytes;
    BytesPerPixel = 4;
}

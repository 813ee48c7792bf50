#pragma once
// Draws images into 32-bit premultiplied ARGB memory: a bitmap, a frame in shared memory or
// a widget's backing image. The context never owns that memory.

#include <memory>

#include <QPointF>
#include <QRectF>

#include "platform/imaging/CIImage.h"

class CIContext {
public:
    // A context over `rowBytes`-strided memory of width x height pixels.
    static std::unique_ptr<CIContext> contextWithBitmap(void* pixels, int width, int height,
                                                        int rowBytes);

    // Draws the part `fromRect` of the image with its origin at `atPoint`, unscaled.
    void drawImage(CIImage const& image, QPointF atPoint, QRectF fromRect);
    // Draws the part `fromRect` of the image scaled into `inRect`.
    void drawImage(CIImage const& image, QRectF inRect, QRectF fromRect);

    int width() const { return mWidth; }
    int height() const { return mHeight; }

private:
    CIContext(void* pixels, int width, int height, int rowBytes);

    void* mPixels;
    int mWidth;
    int mHeight;
    int mRowBytes;
};

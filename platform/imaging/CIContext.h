#pragma once
// Draws images into 32-bit premultiplied ARGB memory it does not own: a bitmap, a frame in
// shared memory or a widget's backing image. Drawing renders the image's recipe row by row
// straight into that memory (one pass for a chain of colour filters, a crop and a mirror).
//
// A draw replaces the destination rectangle's pixels with the image's: where the image has
// no pixels (outside its extent) the destination becomes transparent (0). Scaled draws
// sample bilinearly. Main thread only, like the rest of the library.

#include <memory>

#include <QImage>
#include <QPointF>
#include <QRectF>

#include "platform/imaging/CIImage.h"

class CIRenderState;

class CIContext {
public:
    // A context over `rowBytes`-strided memory of width x height pixels (rowBytes may be
    // negative for bottom-up memory; `pixels` is row 0). Null for bad arguments.
    static std::unique_ptr<CIContext> contextWithBitmap(void* pixels, int width, int height,
                                                        int rowBytes);
    ~CIContext();

    // Draws the part `fromRect` of the image (image coordinates) with that part's top-left
    // corner at `atPoint` (context coordinates, origin top-left, y down), unscaled.
    void drawImage(CIImage const& image, QPointF atPoint, QRectF fromRect);
    // Draws the part `fromRect` of the image scaled to fill `inRect`.
    void drawImage(CIImage const& image, QRectF inRect, QRectF fromRect);

    // A new image holding the part `fromRect` of the image (rounded out to whole pixels).
    static QImage createQImage(CIImage const& image, QRectF const& fromRect);

    int width() const { return mWidth; }
    int height() const { return mHeight; }

private:
    CIContext(void* pixels, int width, int height, int rowBytes);
    // Renders `placed` (in context coordinates) over the pixels of `destination`.
    void render(CIImage const& placed, QRectF const& destination);

    unsigned char* mPixels;
    int mWidth;
    int mHeight;
    int mRowBytes;
    std::unique_ptr<CIRenderState> mState;  // scratch kept from draw to draw
};

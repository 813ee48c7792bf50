#pragma once
// An in-memory picture with a drawing context over it: drawn into with a QPainter, turned
// into images that share its memory (whole or cropped), drawn into other painters, and seen
// as an offscreen world (QGWorld) over the same pixels.

#include <cstdint>
#include <memory>

#include <QImage>
#include <QPainter>
#include <QRectF>

#include "CoreG/QGWorld.h"

namespace CoreGraphics {

// The four kinds of picture. Values are stored and compared as plain ints.
enum BitmapType : int {
    kBitmapTypeGrey = 1,  // one grey byte per pixel
    kBitmapTypeARGB = 2,  // 32-bit ARGB, premultiplied alpha (bytes B, G, R, A on x86-64)
    kBitmapTypeXRGB = 3,  // 32-bit, first (most significant) byte unused
    kBitmapTypeRGBX = 4,  // 32-bit, bytes R, G, B, unused
};

// Translucent tints for marking pictures while debugging (red, green, blue, alpha).
inline constexpr float colorDebugGray[4] = {0.25f, 0.25f, 0.25f, 0.75f};
inline constexpr float colorDebugRed[4] = {0.25f, 0.0f, 0.0f, 0.75f};
inline constexpr float colorDebugGreen[4] = {0.0f, 0.25f, 0.0f, 0.75f};
inline constexpr float colorDebugBlue[4] = {0.0f, 0.0f, 0.25f, 0.75f};

class BitmapContext {
public:
    static constexpr std::uint32_t kImageBitsPerComponent = 8;

    BitmapContext() = default;
    BitmapContext(BitmapContext const&) = delete;
    BitmapContext& operator=(BitmapContext const&) = delete;
    virtual ~BitmapContext();

    // Allocates width x height pixels of `bitmapType` (not cleared) and a painter over them.
    // `inUseRowBytes` 0 computes the row length; a larger value pads the rows, a smaller one
    // is reported and ignored. Fails for an unknown type, allocating nothing.
    bool Construct(int width, int height, int bitmapType, std::uint32_t inUseRowBytes);
    bool IsConstructed() const {
        return mImageWidth != 0 && mImageHeight != 0 && mContext && mImageDataBytes != nullptr;
    }
    // Releases what Construct acquired and zeroes every field.
    void Destruct();

    // An image over the whole picture that shares its memory: it shows what is drawn later
    // and must not outlive this object. Null when not constructed.
    virtual QImage ConstructCGImage() const;
    // The pixel memory (malloc, not cleared). A subclass that allocates otherwise calls
    // Destruct in its own destructor, where its DeleteImageData is still the one called.
    virtual std::uint8_t* CreateImageData(std::size_t size);
    virtual void DeleteImageData(std::uint8_t* data);
    virtual bool ConstructGWorld();

    // An image sharing the memory of a sub-rectangle given with its origin at the bottom left
    // of the picture (so y counts up from the last row). Null when not constructed or when
    // the rectangle is not inside the picture.
    QImage GetCroppedImageRef(QRectF inCroppedRect) const;

    // Draws the picture into `inContext`, scaled to `rect`, with smooth scaling.
    void Draw(QPainter* inContext, QRectF rect) const;

    std::uint8_t SafeGetPixel_BilinearInterpolatedSampleGrey(float x, float y) const {
        return mGWorld.SafeGetPixel_BilinearInterpolatedSampleGrey(x, y);
    }

    // Fills the picture with grey Perlin noise in cellSize x cellSize blocks (cellSize kept to
    // 1..64), 256 noise lattice cells across the width and the height.
    void FillPerlinNoise(int cellSize, float amplitude) const;
    template <int kPixelKind>  // 1: grey bytes, 2: 32-bit pixels
    void T_FillPerlinNoise(int cellSize, float amplitude) const;

    // The fields below are read by drawing and broadcasting code; only Construct and Destruct
    // write them.
    std::unique_ptr<QPainter> mContext;  // active on mImage while constructed
    int mBitmapType = 0;
    std::uint32_t mImageWidth = 0;
    std::uint32_t mImageHeight = 0;
    std::uint32_t mImageBitsPerPixel = 0;
    std::uint32_t mImageBytesPerPixel = 0;
    std::uint32_t mImageRowBytes = 0;
    std::uint32_t mImageDataSize = 0;
    std::uint32_t mImageBitmapInfo = 0;  // alpha placement: none 0, first premultiplied 2,
                                         // skip last 5, skip first 6
    QImage::Format mImageFormat = QImage::Format_Invalid;  // stands for the colour space too
    QGWorld mGWorld;
    std::uint8_t* mImageDataBytes = nullptr;  // owned

private:
    QImage mImage;  // the paint device of mContext, over mImageDataBytes
};

}  // namespace CoreGraphics

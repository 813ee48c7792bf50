#pragma once
// A lazy image: a recipe with an extent. Nothing is computed until a CIContext draws it, and
// copies are cheap (they share the recipe).
//
// Coordinates: image coordinates have their origin at the top-left, y growing down, one unit
// per pixel; pixel (x, y) covers x..x+1 by y..y+1 and belongs to an extent when its centre
// does. A mirror top-to-bottom of a 480-high picture is QTransform().translate(0, 480)
// .scale(1, -1): it maps y to 480 - y, so pixel row y lands on row 479 - y.
//
// Pixels: 32-bit premultiplied ARGB words (0xAARRGGBB in host order, bytes B, G, R, A on
// x86-64; QImage::Format_ARGB32_Premultiplied). Outside its extent an image is transparent.

#include <memory>

#include <QImage>
#include <QMetaType>
#include <QRectF>
#include <QString>
#include <QTransform>

class CIColorMap;
class CIColorMatrix;
class CIImageNode;

class CIImage {
public:
    CIImage() = default;  // the empty image: no extent, draws nothing

    // An image over a copy of the pixels: later changes to that memory do not show.
    static CIImage imageWithARGBData(void const* pixels, int width, int height, int rowBytes);
    // An image over the pixels themselves, no copy: a draw reads the memory as it is at the
    // time of the draw. The memory must outlive the image and every image made from it,
    // unless `owner` keeps it alive. rowBytes may be negative (bottom-up memory: `pixels` is
    // row 0). Pixels and rowBytes are 4-byte aligned.
    static CIImage imageWithSharedARGBData(void const* pixels, int width, int height, int rowBytes,
                                           std::shared_ptr<void const> owner = nullptr);
    // An image sharing `image`'s pixels (Qt's implicit sharing keeps them alive and
    // unchanged). Formats other than ARGB32_Premultiplied and RGB32 are converted (a copy).
    static CIImage imageWithQImage(QImage const& image);

    bool isEmpty() const { return !mNode; }
    explicit operator bool() const { return !isEmpty(); }
    // The rectangle where the image can have pixels; empty for the empty image.
    QRectF extent() const;

    // The image moved by `transform`, which maps this image's coordinates to the new one's.
    // Transforms in a row compose into one; a transform of a colour-filtered image that moves
    // whole pixels is applied below the colour map, so the two still render in one pass.
    CIImage imageByApplyingTransform(QTransform const& transform) const;
    // The pixels whose centres lie in `rect`; the empty image when none do.
    CIImage imageByCroppingToRect(QRectF const& rect) const;
    // The image with `map` applied to every pixel; consecutive colour maps compose into one
    // where they can (the fused colour pass), and an identity map gives this image back.
    CIImage imageByApplyingColorMap(CIColorMap const& map) const;
    CIImage imageByApplyingColorMatrix(CIColorMatrix const& matrix) const;

    // The recipe as text, e.g. "crop(0,0 640x480, colorMap([...], source(640x480)))".
    QString description() const;

    // Two images are equal when they are the same recipe (one is a copy of the other).
    friend bool operator==(CIImage const& a, CIImage const& b) { return a.mNode == b.mNode; }

    // For the library's nodes and contexts.
    explicit CIImage(std::shared_ptr<CIImageNode const> node) : mNode(std::move(node)) {}
    std::shared_ptr<CIImageNode const> const& node() const { return mNode; }

private:
    std::shared_ptr<CIImageNode const> mNode;
};

Q_DECLARE_METATYPE(CIImage)

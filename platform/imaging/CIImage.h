#pragma once
// A lazy image: a recipe with an extent. Nothing is computed until a CIContext draws it.
// Copies are cheap and share the recipe. Pixels are 32-bit premultiplied ARGB words
// (0xAARRGGBB in host order, bytes B, G, R, A on x86-64).

#include <memory>

#include <QImage>
#include <QRectF>

class CIImage {
public:
    CIImage() = default;  // the empty image: no extent, draws nothing

    // An image over a copy of the given 32-bit ARGB pixels.
    static CIImage imageWithARGBData(void const* pixels, int width, int height, int rowBytes);
    // An image that shares `image`'s pixels (QImage's implicit sharing).
    static CIImage imageWithQImage(QImage const& image);

    bool isEmpty() const { return !mImage || mImage->isNull(); }
    explicit operator bool() const { return !isEmpty(); }
    QRectF extent() const;

    // Temporary: the pixels of a source image (to be replaced by the lazy recipe).
    QImage const* sourceImage() const { return mImage.get(); }

private:
    std::shared_ptr<QImage const> mImage;
};

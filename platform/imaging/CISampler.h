#pragma once
// How a kernel reads an image: a kernel's sampler argument. Kernels here are per-pixel: a
// sampler gives the kernel its image's pixels at the output pixel's own position.

#include <QMetaType>
#include <QRectF>

#include "platform/imaging/CIImage.h"

class CISampler {
public:
    CISampler() = default;
    static CISampler samplerWithImage(CIImage const& image) {
        CISampler sampler;
        sampler.mImage = image;
        return sampler;
    }

    CIImage const& image() const { return mImage; }
    // Where the sampler's image has pixels.
    QRectF extent() const { return mImage.extent(); }
    // The domain of definition: where the image is not transparent by construction; the
    // same as the extent here.
    QRectF definition() const { return mImage.extent(); }

private:
    CIImage mImage;
};

Q_DECLARE_METATYPE(CISampler)

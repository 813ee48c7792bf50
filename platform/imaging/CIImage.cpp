#include "platform/imaging/CIImage.h"

#include <cstdlib>
#include <cstring>
#include <optional>
#include <vector>

#include "CoreX/CoreMachDebugLog.h"
#include "platform/imaging/CIColorMap.h"
#include "platform/imaging/CIColorMapNode.h"
#include "platform/imaging/CICropNode.h"
#include "platform/imaging/CISourceNode.h"
#include "platform/imaging/CITransformNode.h"

namespace {

bool ValidPixels(void const* pixels, int width, int height, int rowBytes) {
    bool const fOk = pixels != nullptr && width > 0 && height > 0 &&
                     std::abs(static_cast<long long>(rowBytes)) >= 4LL * width;
    return fOk;
}

}  // namespace

CIImage CIImage::imageWithARGBData(void const* pixels, int width, int height, int rowBytes) {
    if (!ValidPixels(pixels, width, height, rowBytes)) {
        return CIImage();
    }
    std::size_t const packedRowBytes = static_cast<std::size_t>(width) * 4;
    auto copy = std::make_shared<std::vector<uint32_t>>(static_cast<std::size_t>(width) *
                                                        static_cast<std::size_t>(height));
    auto const* source = static_cast<unsigned char const*>(pixels);
    for (int y = 0; y < height; ++y) {
        std::memcpy(copy->data() + static_cast<std::size_t>(y) * width,
                    source + static_cast<std::ptrdiff_t>(y) * rowBytes, packedRowBytes);
    }
    void const* copied = copy->data();
    return CIImage(std::make_shared<CISourceNode>(
        copied, width, height, static_cast<std::ptrdiff_t>(packedRowBytes), std::move(copy)));
}

CIImage CIImage::imageWithSharedARGBData(void const* pixels, int width, int height, int rowBytes,
                                         std::shared_ptr<void const> owner) {
    if (!ValidPixels(pixels, width, height, rowBytes)) {
        return CIImage();
    }
    bool const aligned = reinterpret_cast<std::uintptr_t>(pixels) % 4 == 0 && rowBytes % 4 == 0;
    VERIFY(aligned);
    if (!aligned) {
        return CIImage();
    }
    return CIImage(
        std::make_shared<CISourceNode>(pixels, width, height, rowBytes, std::move(owner)));
}

CIImage CIImage::imageWithQImage(QImage const& image) {
    if (image.isNull()) {
        return CIImage();
    }
    std::shared_ptr<QImage const> shared;
    if (image.format() == QImage::Format_ARGB32_Premultiplied ||
        image.format() == QImage::Format_RGB32) {
        shared = std::make_shared<QImage const>(image);
    } else {
        shared = std::make_shared<QImage const>(
            image.convertToFormat(QImage::Format_ARGB32_Premultiplied));
    }
    // constBits() of our own copy: it shares the caller's pixels without detaching.
    void const* pixels = shared->constBits();
    return CIImage(std::make_shared<CISourceNode>(pixels, shared->width(), shared->height(),
                                                  shared->bytesPerLine(), std::move(shared)));
}

QRectF CIImage::extent() const { return mNode ? mNode->extent() : QRectF(); }

CIImage CIImage::imageByApplyingTransform(QTransform const& transform) const {
    if (!mNode || transform.isIdentity()) {
        return *this;
    }
    bool const affine = transform.isAffine();
    VERIFY(affine);
    if (!affine) {
        return *this;
    }
    bool const invertible = transform.isInvertible();
    VERIFY(invertible);
    if (!invertible) {
        return CIImage();
    }
    if (auto const* inner = dynamic_cast<CITransformNode const*>(mNode.get())) {
        // Input -> inner transform -> this transform, as one.
        return CIImage(inner->input()).imageByApplyingTransform(inner->transform() * transform);
    }
    if (auto const* colour = dynamic_cast<CIColorMapNode const*>(mNode.get())) {
        if (CITransformNode::isPixelExact(transform)) {
            // Moving whole pixels commutes exactly with a per-pixel colour map.
            return CIImage(colour->input())
                .imageByApplyingTransform(transform)
                .imageByApplyingColorMap(colour->map());
        }
    }
    return CIImage(std::make_shared<CITransformNode>(mNode, transform));
}

CIImage CIImage::imageByCroppingToRect(QRectF const& rect) const {
    if (!mNode) {
        return *this;
    }
    if (CIPixelSpan(rect & mNode->extent()).isEmpty()) {
        return CIImage();
    }
    if (rect.contains(mNode->extent())) {
        return *this;
    }
    if (auto const* inner = dynamic_cast<CICropNode const*>(mNode.get())) {
        return CIImage(inner->input()).imageByCroppingToRect(rect & inner->extent());
    }
    return CIImage(std::make_shared<CICropNode>(mNode, rect));
}

CIImage CIImage::imageByApplyingColorMatrix(CIColorMatrix const& matrix) const {
    return imageByApplyingColorMap(CIColorMap::matrix(matrix));
}

CIImage CIImage::imageByApplyingColorMap(CIColorMap const& map) const {
    if (!mNode || map.isIdentity()) {
        return *this;
    }
    if (auto const* inner = dynamic_cast<CIColorMapNode const*>(mNode.get())) {
        if (std::optional<CIColorMap> const both = inner->map().followedBy(map)) {
            return CIImage(inner->input()).imageByApplyingColorMap(*both);
        }
    }
    return CIImage(std::make_shared<CIColorMapNode>(mNode, map));
}

QString CIImage::description() const { return mNode ? mNode->description() : QString("empty"); }

#include "platform/imaging/CIContext.h"

#include <algorithm>
#include <cstdlib>

#include "CoreX/CoreMachDebugLog.h"
#include "platform/imaging/CIImageNode.h"
#include "platform/imaging/CIRenderState.h"

CIContext::CIContext(void* pixels, int width, int height, int rowBytes)
    : mPixels(static_cast<unsigned char*>(pixels)),
      mWidth(width),
      mHeight(height),
      mRowBytes(rowBytes),
      mState(std::make_unique<CIRenderState>()) {}

CIContext::~CIContext() = default;

std::unique_ptr<CIContext> CIContext::contextWithBitmap(void* pixels, int width, int height,
                                                        int rowBytes) {
    bool const fOk = pixels != nullptr && width > 0 && height > 0 &&
                     std::abs(static_cast<long long>(rowBytes)) >= 4LL * width &&
                     reinterpret_cast<std::uintptr_t>(pixels) % 4 == 0 && rowBytes % 4 == 0;
    VERIFY(fOk);
    if (!fOk) {
        return nullptr;
    }
    return std::unique_ptr<CIContext>(new CIContext(pixels, width, height, rowBytes));
}

void CIContext::drawImage(CIImage const& image, QPointF atPoint, QRectF fromRect) {
    if (image.isEmpty()) {
        return;
    }
    QTransform const placement =
        QTransform::fromTranslate(atPoint.x() - fromRect.x(), atPoint.y() - fromRect.y());
    render(image.imageByCroppingToRect(fromRect).imageByApplyingTransform(placement),
           QRectF(atPoint, fromRect.size()));
}

void CIContext::drawImage(CIImage const& image, QRectF inRect, QRectF fromRect) {
    if (image.isEmpty() || !(fromRect.width() > 0.0) || !(fromRect.height() > 0.0)) {
        return;
    }
    // from-rect origin to 0, scale, then to the in-rect's origin.
    QTransform const placement = QTransform::fromTranslate(-fromRect.x(), -fromRect.y()) *
                                 QTransform::fromScale(inRect.width() / fromRect.width(),
                                                       inRect.height() / fromRect.height()) *
                                 QTransform::fromTranslate(inRect.x(), inRect.y());
    render(image.imageByCroppingToRect(fromRect).imageByApplyingTransform(placement), inRect);
}

QImage CIContext::createQImage(CIImage const& image, QRectF const& fromRect) {
    QRect const pixels = fromRect.toAlignedRect();
    if (image.isEmpty() || pixels.isEmpty()) {
        return QImage();
    }
    QImage result(pixels.size(), QImage::Format_ARGB32_Premultiplied);
    if (result.isNull()) {
        return result;
    }
    std::unique_ptr<CIContext> context = contextWithBitmap(
        result.bits(), result.width(), result.height(), static_cast<int>(result.bytesPerLine()));
    if (context) {
        context->drawImage(image, QPointF(0.0, 0.0), QRectF(pixels));
    }
    return result;
}

void CIContext::render(CIImage const& placed, QRectF const& destination) {
    QRect const region = CIPixelSpan(destination) & QRect(0, 0, mWidth, mHeight);
    if (region.isEmpty()) {
        return;
    }
    unsigned char* first = mPixels + static_cast<std::ptrdiff_t>(region.top()) * mRowBytes +
                           static_cast<std::ptrdiff_t>(region.left()) * 4;
    if (placed.isEmpty()) {
        for (int y = 0; y < region.height(); ++y) {
            auto* row =
                reinterpret_cast<uint32_t*>(first + static_cast<std::ptrdiff_t>(y) * mRowBytes);
            std::fill_n(row, region.width(), 0u);
        }
        return;
    }
    CIImageNode const& node = *placed.node();
    mState->beginDraw();
    node.prepare(*mState, region);
    mState->renderRows(node, region, first, mRowBytes);
}

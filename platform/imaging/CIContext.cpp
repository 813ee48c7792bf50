#include "platform/imaging/CIContext.h"

#include <QPainter>

CIContext::CIContext(void* pixels, int width, int height, int rowBytes)
    : mPixels(pixels), mWidth(width), mHeight(height), mRowBytes(rowBytes) {}

std::unique_ptr<CIContext> CIContext::contextWithBitmap(void* pixels, int width, int height,
                                                        int rowBytes) {
    if (pixels == nullptr || width <= 0 || height <= 0 || rowBytes < width * 4) {
        return nullptr;
    }
    return std::unique_ptr<CIContext>(new CIContext(pixels, width, height, rowBytes));
}

void CIContext::drawImage(CIImage const& image, QPointF atPoint, QRectF fromRect) {
    drawImage(image, QRectF(atPoint, fromRect.size()), fromRect);
}

void CIContext::drawImage(CIImage const& image, QRectF inRect, QRectF fromRect) {
    if (image.isEmpty()) {
        return;
    }
    QImage target(static_cast<uchar*>(mPixels), mWidth, mHeight, mRowBytes,
                  QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&target);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.drawImage(inRect, *image.sourceImage(), fromRect);
}

#include "platform/imaging/CIImage.h"

CIImage CIImage::imageWithARGBData(void const* pixels, int width, int height, int rowBytes) {
    CIImage image;
    if (pixels != nullptr && width > 0 && height > 0) {
        QImage view(static_cast<uchar const*>(pixels), width, height, rowBytes,
                    QImage::Format_ARGB32_Premultiplied);
        image.mImage = std::make_shared<QImage const>(view.copy());
    }
    return image;
}

CIImage CIImage::imageWithQImage(QImage const& source) {
    CIImage image;
    if (!source.isNull()) {
        image.mImage = std::make_shared<QImage const>(source);
    }
    return image;
}

QRectF CIImage::extent() const { return isEmpty() ? QRectF() : QRectF(mImage->rect()); }

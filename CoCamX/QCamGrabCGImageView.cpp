#include "CoCamX/QCamGrabCGImageView.h"

#include <QPainter>

QCamGrabCGImageView::QCamGrabCGImageView(QWidget* parent) : QCamGrabViewBase(parent) {}

QCamGrabCGImageView::~QCamGrabCGImageView() {
    _cameraImageRef = QImage();  // it shares the grabber's memory: let go of it first
}

void QCamGrabCGImageView::cameraOpen(QSizeF frameSize, QSizeF vdigSize) {
    CoreGraphics::BitmapContext& frame = _grabber.mCamContext;
    if (frame.mContext) {
        // Black until the first frame arrives: a fresh context fills with opaque black.
        frame.mContext->setPen(QColor::fromRgbF(0, 0, 0, 1.0));
        frame.mContext->fillRect(QRectF(0, 0, frame.mImageWidth, frame.mImageHeight), Qt::black);
    }
    QCamGrabViewBase::cameraOpen(frameSize, vdigSize);
}

bool QCamGrabCGImageView::cameraTimer(QTimer* timer) {
    bool const grabbed = QCamGrabViewBase::cameraTimer(timer);
    // Without a running camera the frame buffer only holds black or the last frame before
    // the camera went: that is no picture, so the monitor shows the other eye alone.
    setCameraImageRef(_grabber.mVideoChannel != nullptr ? _grabber.mCamContext.ConstructCGImage()
                                                        : QImage());
    update();
    return !grabbed;
}

CIImage QCamGrabCGImageView::cameraImage() const {
    CoreGraphics::BitmapContext const& frame = _grabber.mCamContext;
    if (frame.mImageWidth == 0 || frame.mImageHeight == 0 || !frame.mContext ||
        frame.mImageDataBytes == nullptr) {
        return CIImage();
    }
    return CIImage::imageWithARGBData(frame.mImageDataBytes, static_cast<int>(frame.mImageWidth),
                                      static_cast<int>(frame.mImageHeight),
                                      static_cast<int>(frame.mImageRowBytes));
}

void QCamGrabCGImageView::drawRect(QPainter& painter, QRectF rect) {
    if (!_cameraImageRef.isNull() && _grabber.mVideoChannel != nullptr) {
        drawImageRef(painter, _cameraImageRef, rect, 1.0);
    } else {
        eraseBackground(painter, rect);
        drawCameraUnavailableIndicator(painter, rect);
    }
}

bool import_QCamGrabCGImageView() { return import_QCamGrabViewBase(); }

#include "CoCamX/QCamGrabCGImageView.h"

#include <QMouseEvent>
#include <QPainter>

#include "CoCamX/NSUICICameraControls.h"
#include "platform/imaging/CIContext.h"

QCamGrabCGImageView::QCamGrabCGImageView(QWidget* parent) : QCamGrabViewBase(parent) {}

QCamGrabCGImageView::~QCamGrabCGImageView() {
    // These share the grabber's memory: let go of them first.
    _cameraImageRef = QImage();
    _eyePicture = QImage();
    mEyeImage = mSource = mRecipe = CIImage();
}

void QCamGrabCGImageView::setCameraControls(NSUICICameraControls* controls) {
    if (mControls != nullptr) {
        disconnect(mControls, nullptr, this, nullptr);
    }
    mControls = controls;
    mRecipeValid = false;
    if (controls != nullptr) {
        // Show a change at once, also while no frames arrive.
        connect(controls, &NSUICICameraControls::filterStackChanged, this, [this] {
            updateEyePicture();
            update();
        });
        connect(controls, &QObject::destroyed, this, [this] { setCameraControls(nullptr); });
    }
    updateEyePicture();
}

void QCamGrabCGImageView::setCameraImageRef(QImage const& image) {
    _cameraImageRef = image;
    updateEyePicture();
}

void QCamGrabCGImageView::updateEyePicture() {
    if (_cameraImageRef.isNull()) {
        _eyePicture = QImage();
        mEyeImage = CIImage();
        return;
    }
    // Each tick's image shares the same frame memory: the image over it is made once.
    if (mSourcePixels != _cameraImageRef.constBits() ||
        mSource.extent().size() != QSizeF(_cameraImageRef.size())) {
        mSourcePixels = _cameraImageRef.constBits();
        mSource = CIImage::imageWithSharedARGBData(mSourcePixels, _cameraImageRef.width(),
                                                   _cameraImageRef.height(),
                                                   static_cast<int>(_cameraImageRef.bytesPerLine()));
        mRecipeValid = false;
    }
    if (mControls != nullptr && (!mRecipeValid || mRecipeRevision != mControls->revision())) {
        mNeutral = mControls->isNeutral();
        mRecipe = mNeutral ? CIImage() : mControls->filteredImage(mSource);
        mRecipeRevision = mControls->revision();
        mRecipeValid = true;
    }
    if (mControls == nullptr || mNeutral || mRecipe.isEmpty()) {
        _eyePicture = _cameraImageRef;
        mEyeImage = mSource;
        return;
    }
    QRectF const frameRect(0, 0, NSUICICameraControls_FrameWidth,
                           NSUICICameraControls_FrameHeight);
    if (!mAdjustedContext) {
        mAdjusted = QImage(frameRect.size().toSize(), QImage::Format_ARGB32_Premultiplied);
        // Rendered through this pointer from now on: the image is never detached again.
        uchar* pixels = mAdjusted.bits();
        mAdjustedContext = CIContext::contextWithBitmap(pixels, mAdjusted.width(),
                                                        mAdjusted.height(),
                                                        static_cast<int>(mAdjusted.bytesPerLine()));
        mAdjustedImage = CIImage::imageWithSharedARGBData(
            pixels, mAdjusted.width(), mAdjusted.height(), static_cast<int>(mAdjusted.bytesPerLine()));
    }
    if (!mAdjustedContext) {
        return;
    }
    mAdjustedContext->drawImage(mRecipe, QPointF(0, 0), frameRect);
    _eyePicture = mAdjusted;
    mEyeImage = mAdjustedImage;
}

QColor QCamGrabCGImageView::frameColorAtViewPoint(QPointF point) const {
    QImage const& frame = _cameraImageRef;
    if (frame.isNull() || width() <= 0 || height() <= 0) {
        return {};
    }
    QPointF shown(point.x() * NSUICICameraControls_FrameWidth / width(),
                  point.y() * NSUICICameraControls_FrameHeight / height());
    if (mControls != nullptr) {
        shown = mControls->transform().inverted().map(shown);
    }
    int const cx = static_cast<int>(shown.x());
    int const cy = static_cast<int>(shown.y());
    double sum[3] = {0, 0, 0};
    int count = 0;
    for (int y = cy - 2; y <= cy + 2; ++y) {
        for (int x = cx - 2; x <= cx + 2; ++x) {
            if (x < 0 || y < 0 || x >= frame.width() || y >= frame.height()) {
                continue;
            }
            QRgb const pixel = frame.pixel(x, y);
            sum[0] += qRed(pixel);
            sum[1] += qGreen(pixel);
            sum[2] += qBlue(pixel);
            ++count;
        }
    }
    if (count == 0) {
        return {};
    }
    return QColor::fromRgbF(static_cast<float>(sum[0] / count / 255.0),
                            static_cast<float>(sum[1] / count / 255.0),
                            static_cast<float>(sum[2] / count / 255.0));
}

void QCamGrabCGImageView::mousePressEvent(QMouseEvent* event) {
    if (!mPicking) {
        QCamGrabViewBase::mousePressEvent(event);
        return;
    }
    QColor const color = frameColorAtViewPoint(event->position());
    if (color.isValid()) {
        if (mControls != nullptr) {
            mControls->pickWhiteReference(color);
        }
        mPicking = false;
        emit whiteReferencePicked(color);
    }
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
    cameraShowFrame();
    return !grabbed;
}

void QCamGrabCGImageView::cameraShowFrame() {
    // Without a running camera the frame buffer only holds black or the last frame before
    // the camera went: that is no picture, so the monitor shows the other eye alone.
    // The image over the frame memory is made again only when that memory or its shape
    // changes; every other tick reads the new frame through the same image.
    CoreGraphics::BitmapContext const& frame = _grabber.mCamContext;
    if (_grabber.mVideoChannel == nullptr) {
        setCameraImageRef(QImage());
    } else if (_cameraImageRef.isNull() || _cameraImageRef.constBits() != frame.mImageDataBytes ||
               _cameraImageRef.width() != static_cast<int>(frame.mImageWidth) ||
               _cameraImageRef.height() != static_cast<int>(frame.mImageHeight) ||
               _cameraImageRef.bytesPerLine() != static_cast<qsizetype>(frame.mImageRowBytes) ||
               _cameraImageRef.format() != frame.mImageFormat) {
        setCameraImageRef(frame.ConstructCGImage());
    } else {
        updateEyePicture();
    }
    update();
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
    if (!_eyePicture.isNull() && _grabber.mVideoChannel != nullptr) {
        // An aligned picture has no pixels where its frame moved away: black there.
        painter.fillRect(rect, Qt::black);
        drawImageRef(painter, _eyePicture, rect, 1.0);
    } else {
        eraseBackground(painter, rect);
        drawCameraUnavailableIndicator(painter, rect);
    }
}

bool import_QCamGrabCGImageView() { return import_QCamGrabViewBase(); }

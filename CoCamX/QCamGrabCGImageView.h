#pragma once
// The eye view the document uses: its grabber decompresses every frame into a 32-bit ARGB
// bitmap; on every tick the view makes an image over that bitmap, draws it, and hands it
// (or a copy) to the monitor.

#include "CoCamX/QCamGrabViewBase.h"
#include "QClasses/QCameraGrabCGContext.h"
#include "platform/imaging/CIImage.h"

class QCamGrabCGImageView : public QCamGrabViewBase {
    Q_OBJECT
public:
    explicit QCamGrabCGImageView(QWidget* parent = nullptr);
    ~QCamGrabCGImageView() override;

    QCameraGrabberBase* grabber() override { return &_grabber; }
    QCameraGrabCGContext& cameraGrabber() { return _grabber; }

    // Clears the frame buffer to opaque black, then opens as every camera view does.
    void cameraOpen(QSizeF frameSize, QSizeF vdigSize) override;
    using QCamGrabViewBase::cameraOpen;  // the one-size form, hidden by the override otherwise
    // Idles the grabber and rebuilds the image of the frame buffer. Returns the inverse of
    // the base view's result: true exactly when the grab step failed.
    bool cameraTimer(QTimer* timer) override;

    // A copy of the frame buffer as an image, or the empty image.
    CIImage cameraImage() const;
    // The latest frame, sharing the frame buffer's memory; null before the first tick and
    // while no camera is open.
    QImage const& cameraImageRef() const { return _cameraImageRef; }
    void setCameraImageRef(QImage const& image) { _cameraImageRef = image; }
    CoreGraphics::BitmapContext const& cameraBitmapContext() const { return _grabber.mCamContext; }

protected:
    void drawRect(QPainter& painter, QRectF rect) override;

private:
    QCameraGrabCGContext _grabber;
    QImage _cameraImageRef;
};

bool import_QCamGrabCGImageView();

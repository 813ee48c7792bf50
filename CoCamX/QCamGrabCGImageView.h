#pragma once
// The eye view the document uses: its grabber decompresses every frame into a 32-bit ARGB
// bitmap; on every tick the view runs that frame through the eye's adjustment stack (when it
// is not neutral), draws the result, and hands it to the monitor.

#include <memory>

#include "CoCamX/QCamGrabViewBase.h"
#include "QClasses/QCameraGrabCGContext.h"
#include "platform/imaging/CIImage.h"

class CIContext;
class NSUICICameraControls;

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
    // The second half of cameraTimer: the eye's picture from the frame buffer as it is now.
    virtual void cameraShowFrame();

    // A copy of the frame buffer as an image, or the empty image.
    CIImage cameraImage() const;
    // The latest frame, sharing the frame buffer's memory; null before the first tick and
    // while no camera is open.
    QImage const& cameraImageRef() const { return _cameraImageRef; }
    void setCameraImageRef(QImage const& image);
    CoreGraphics::BitmapContext const& cameraBitmapContext() const { return _grabber.mCamContext; }

    // The eye's adjustment stack (not owned); without one the frames pass as they are.
    void setCameraControls(NSUICICameraControls* controls);
    NSUICICameraControls* cameraControls() const { return mControls; }
    // The eye's picture of the latest tick, after its adjustments: the frame itself while the
    // stack is neutral, else a 640 x 480 picture the view owns. Null without a camera.
    QImage const& eyePicture() const { return _eyePicture; }
    // The same picture as an image over its memory (no copy), or the empty image.
    CIImage const& eyeImage() const { return mEyeImage; }

    // While picking, a click on the view takes the camera's colour there (before the
    // adjustments) as the eye's white reference.
    void setPickingWhiteReference(bool picking) { mPicking = picking; }
    bool isPickingWhiteReference() const { return mPicking; }
    // The frame's average colour over 5 x 5 pixels around the point of the view, mapped back
    // through the eye's mirroring; invalid without a picture.
    QColor frameColorAtViewPoint(QPointF point) const;

signals:
    void whiteReferencePicked(QColor const& color);

protected:
    void drawRect(QPainter& painter, QRectF rect) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    void updateEyePicture();

    QCameraGrabCGContext _grabber;
    QImage _cameraImageRef;
    QImage _eyePicture;
    CIImage mEyeImage;

    NSUICICameraControls* mControls = nullptr;
    bool mPicking = false;
    // Built again only when the stack or the frame memory changes, so a tick allocates
    // nothing: the frame as an image, the stack's recipe over it, and the adjusted picture
    // with the context that renders into it.
    void const* mSourcePixels = nullptr;
    CIImage mSource;
    CIImage mRecipe;
    unsigned mRecipeRevision = 0;
    bool mRecipeValid = false;
    bool mNeutral = true;
    QImage mAdjusted;
    CIImage mAdjustedImage;
    std::unique_ptr<CIContext> mAdjustedContext;
};

bool import_QCamGrabCGImageView();

#include "app/DSCStereoView.h"

#include <QPainter>

#include "CoCamX/NSUISegmentedControl.h"
#include "CoCamX/QCamGrabCGImageView.h"
#include "CocoaX/CIVIZStereoMuxFilter.h"
#include "CoreX/CoreMachDebugLog.h"
#include "platform/imaging/CIContext.h"
#include "platform/imaging/CIFilter.h"
#include "platform/imaging/CIPlugIn.h"

namespace {

CIImage EyeImage(QCamGrabCGImageView const* eye) {
    if (eye == nullptr || eye->cameraImageRef().isNull()) {
        return CIImage();
    }
    return CIImage::imageWithQImage(eye->cameraImageRef());
}

}  // namespace

void DSCStereoView::initialize() {
    static bool const sInitialized = [] {
        VERIFY(import_QCamGrabCGImageView());
        CIPlugIn::loadAllPlugIns();
        VERIFY(import_CIVIZStereoMuxFilter(true));
        return true;
    }();
    (void)sInitialized;
}

DSCStereoView::DSCStereoView(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    initialize();
    _stereoMux = CIFilter::filterWithName(QString::fromLatin1(kCIVIZStereoMuxFilter_Name));
    if (_stereoMux) {
        _stereoMux->setDefaults();
    }
}

DSCStereoView::~DSCStereoView() = default;

void DSCStereoView::setMonitorImageTypeControl(NSUISegmentedControl* control) {
    _monitorImageType = control;
    if (control != nullptr) {
        control->setLabels({tr("Left eye"), tr("3D"), tr("3D, eyes swapped"), tr("Right eye")});
        control->setSelectedSegment(kMonitorCombined - 1);
        connect(control, &NSUISegmentedControl::segmentChanged, this,
                [this] { monitorImageTypeChanged(); });
    }
}

void DSCStereoView::setEyes(QCamGrabCGImageView* leftEye, QCamGrabCGImageView* rightEye) {
    _leftEye = leftEye;
    _rightEye = rightEye;
}

int DSCStereoView::monitorImageType() const {
    return _monitorImageType != nullptr ? _monitorImageType->selectedSegment() + 1 : 0;
}

void DSCStereoView::setMonitorImageType(int type) {
    if (_monitorImageType != nullptr) {
        _monitorImageType->setSelectedSegment(type - 1);
    }
}

double DSCStereoView::swapEyesFloatValue() const {
    return monitorImageType() == kMonitorCombinedSwapped ? 1.0 : 0.0;
}

CIImage DSCStereoView::leftEyeImage() const { return EyeImage(_leftEye); }

CIImage DSCStereoView::rightEyeImage() const { return EyeImage(_rightEye); }

CIImage DSCStereoView::monitorImageMuxed() const {
    CIImage const left = leftEyeImage();
    CIImage const right = rightEyeImage();
    if (left && right && _stereoMux) {
        _stereoMux->setValue(right, QString::fromLatin1(kCIVIZStereoMuxFilter_InputImage));
        _stereoMux->setValue(left, QString::fromLatin1(kCIVIZStereoMuxFilter_InputLeftImage));
        _stereoMux->setValue(QVariant(swapEyesFloatValue()),
                             QString::fromLatin1(kCIVIZStereoMuxFilter_InputSwapEyes));
        CIImage const muxed = _stereoMux->outputImage();
        if (muxed) {
            return muxed;
        }
    }
    // One eye missing (or the mux failed): show the other camera's picture unchanged.
    if (!left && !right) {
        return CIImage();
    }
    return right ? right : left;
}

CIImage DSCStereoView::liveMonitorImage() const {
    CIImage image;
    switch (monitorImageType()) {
        case kMonitorLeftEye:
            image = leftEyeImage();
            break;
        case kMonitorCombined:
        case kMonitorCombinedSwapped:
            image = monitorImageMuxed();
            break;
        case kMonitorRightEye:
            image = rightEyeImage();
            break;
        default:
            break;
    }
    return liveMonitorImageStereofy(image);
}

void DSCStereoView::setNeedsDisplay(bool needsDisplay) {
    if (needsDisplay) {
        update();
    }
}

void DSCStereoView::paintEvent(QPaintEvent* event) {
    QSize const size = this->size() * devicePixelRatioF();
    if (mBacking.size() != size) {
        mBacking = QImage(size, QImage::Format_ARGB32_Premultiplied);
    }
    drawRect(mBacking, QRectF(QPointF(0, 0), QSizeF(size)));
    QPainter painter(this);
    painter.drawImage(rect(), mBacking);
}

void DSCStereoView::drawRect(QImage& target, QRectF rect) {
    CIImage const image = liveMonitorImage();
    setMonitorImage(image);
    if (image.isEmpty()) {
        eraseBackground(target, QRectF(target.rect()));
        return;
    }
    // The context (and the scratch memory it keeps) is reused while the target stays.
    if (!mContext || mContextPixels != target.bits() || mContext->width() != target.width() ||
        mContext->height() != target.height()) {
        mContext = CIContext::contextWithBitmap(target.bits(), target.width(), target.height(),
                                                static_cast<int>(target.bytesPerLine()));
        mContextPixels = target.bits();
    }
    if (!mContext) {
        return;
    }
    // Scaled to fill the drawn rectangle, whatever the camera size.
    mContext->drawImage(image, rect, image.extent());
}

void DSCStereoView::eraseBackground(QImage& target, QRectF rect) {
    QPainter painter(&target);
    painter.fillRect(rect, Qt::black);
}

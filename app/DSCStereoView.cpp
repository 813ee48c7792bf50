#include "app/DSCStereoView.h"

#include <QComboBox>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>

#include "CoCamX/NSUISegmentedControl.h"
#include "CoCamX/QCamGrabCGImageView.h"
#include "CocoaX/CIVIZStereoMuxFilter.h"
#include "CoreX/CoreMachDebugLog.h"
#include "platform/imaging/CIContext.h"
#include "platform/imaging/CIFilter.h"
#include "platform/imaging/CIPlugIn.h"

namespace {

CIImage EyeImage(QCamGrabCGImageView const* eye) {
    return eye != nullptr ? eye->eyeImage() : CIImage();
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
    setFocusPolicy(Qt::ClickFocus);
    setToolTip(tr("Double-click or F11: full screen; Esc leaves"));
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
                &DSCStereoView::monitorImageTypeChanged);
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

void DSCStereoView::setStereoFormatControl(QComboBox* control) {
    mStereoFormatControl = control;
    if (control == nullptr) {
        return;
    }
    control->clear();
    for (int number = 0; number < kCIVIZStereoFormatCount; ++number) {
        control->addItem(tr(CIVIZStereoFormatName(static_cast<CIVIZStereoFormat>(number))), number);
    }
    control->setCurrentIndex(static_cast<int>(mStereoFormat));
    connect(control, &QComboBox::currentIndexChanged, this,
            [this](int index) { setStereoFormat(CIVIZStereoFormatFromNumber(index)); });
}

void DSCStereoView::setStereoFormat(CIVIZStereoFormat format) {
    if (mStereoFormatControl != nullptr &&
        mStereoFormatControl->currentIndex() != static_cast<int>(format)) {
        mStereoFormatControl->setCurrentIndex(static_cast<int>(format));  // comes back here
        return;
    }
    if (format == mStereoFormat) {
        return;
    }
    mStereoFormat = format;
    monitorImageTypeChanged();
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
        _stereoMux->setValue(QVariant(static_cast<int>(mStereoFormat)),
                             QString::fromLatin1(kCIVIZStereoMuxFilter_InputStereoFormat));
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

void DSCStereoView::monitorImageTypeChanged() {
    composeMonitorImage();
    update();
}

void DSCStereoView::setNeedsDisplay(bool needsDisplay) {
    if (needsDisplay) {
        composeMonitorImage();
        update();
    }
}

void DSCStereoView::composeMonitorImage() {
    CIImage const left = leftEyeImage();
    CIImage const right = rightEyeImage();
    int const type = monitorImageType();
    if (!(left == mRecipeLeft && right == mRecipeRight && type == mRecipeType &&
          mStereoFormat == mRecipeFormat)) {
        mRecipe = liveMonitorImage();
        mRecipeLeft = left;
        mRecipeRight = right;
        mRecipeType = type;
        mRecipeFormat = mStereoFormat;
    }
    QSize const size = mRecipe.extent().toAlignedRect().size();
    if (mRecipe.isEmpty() || size.isEmpty()) {
        setMonitorImage(CIImage());
        return;
    }
    if (mPicture.size() != size || !mContext) {
        mPicture = QImage(size, QImage::Format_ARGB32_Premultiplied);
        // Rendered through this pointer from now on: the picture is never detached again.
        uchar* pixels = mPicture.bits();
        int const rowBytes = static_cast<int>(mPicture.bytesPerLine());
        mContext = CIContext::contextWithBitmap(pixels, size.width(), size.height(), rowBytes);
        mPictureImage =
            CIImage::imageWithSharedARGBData(pixels, size.width(), size.height(), rowBytes);
    }
    if (!mContext) {
        setMonitorImage(CIImage());
        return;
    }
    mContext->drawImage(mRecipe, QPointF(0, 0), mRecipe.extent());
    setMonitorImage(mPictureImage);
}

QRectF DSCStereoView::letterboxRect(QRectF bounds, QSizeF picture) {
    if (picture.isEmpty() || bounds.isEmpty()) {
        return {};
    }
    QSizeF const shown = picture.scaled(bounds.size(), Qt::KeepAspectRatio);
    return QRectF(bounds.x() + (bounds.width() - shown.width()) / 2,
                  bounds.y() + (bounds.height() - shown.height()) / 2, shown.width(),
                  shown.height());
}

void DSCStereoView::drawPicture(QPainter& painter, QRectF rect) const {
    painter.fillRect(rect, Qt::black);
    if (_monitorImage.isEmpty() || mPicture.isNull()) {
        return;
    }
    painter.setRenderHint(QPainter::SmoothPixmapTransform, true);
    painter.drawImage(letterboxRect(rect, QSizeF(mPicture.size())), mPicture);
}

void DSCStereoView::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    drawPicture(painter, QRectF(rect()));
}

void DSCStereoView::setFullScreenMonitor(bool fullScreen) {
    if (fullScreen == isFullScreenMonitor() || parentWidget() == nullptr) {
        return;  // a monitor without a window to return to stays as it is
    }
    if (fullScreen) {
        QRect const screenArea = screen()->geometry();  // the screen the window is on
        setWindowFlags(Qt::Window);
        // The window manager makes a full-screen window cover its screen; the geometry does
        // it where there is none.
        setGeometry(screenArea);
        showFullScreen();
        setFocus(Qt::OtherFocusReason);
    } else {
        setWindowFlags(Qt::Widget);  // back into its place in the window's layout
        show();
    }
    emit fullScreenChanged(fullScreen);
}

void DSCStereoView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        setFullScreenMonitor(!isFullScreenMonitor());
    }
}

void DSCStereoView::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_F11) {
        setFullScreenMonitor(!isFullScreenMonitor());
    } else if (event->key() == Qt::Key_Escape && isFullScreenMonitor()) {
        setFullScreenMonitor(false);
    } else {
        QWidget::keyPressEvent(event);
    }
}

void DSCStereoView::drawRect(QImage& target, QRectF rect) const {
    QPainter painter(&target);
    drawPicture(painter, rect);
}

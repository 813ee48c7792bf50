#include "app/DSCStereoView.h"

#include <QComboBox>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QVBoxLayout>

#include "CoCamX/NSUISegmentedControl.h"
#include "CoCamX/QCamGrabCGImageView.h"
#include "CocoaX/CIVIZStereoMuxFilter.h"
#include "CoreX/CoreMachDebugLog.h"
#include "app/DSCMonitorGLView.h"
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
    if (monitorPath() == MonitorPath::kOpenGL) {
        mGLView = new DSCMonitorGLView(&mPicture, this);
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(mGLView);
    }
}

DSCStereoView::MonitorPath DSCStereoView::monitorPath() {
    static MonitorPath const sPath = chooseMonitorPath();
    return sPath;
}

DSCStereoView::MonitorPath DSCStereoView::chooseMonitorPath() {
    QString const choice = qEnvironmentVariable("DUOSCOPE_MONITOR");
    if (choice == QLatin1String("cpu")) {
        CoreMachDebugLog("Monitor drawn on the CPU: DUOSCOPE_MONITOR=cpu");
        return MonitorPath::kCPU;
    }
    QString renderer;
    if (!DSCMonitorGLView::contextAvailable(&renderer)) {
        CoreMachDebugLog("Monitor drawn on the CPU: %s", qPrintable(renderer));
        return MonitorPath::kCPU;
    }
    // A rasteriser in software scales and composes the whole window on the CPU, at many times
    // the painter's cost (50 ms against 3 ms a tick at 1920 x 1080 with Mesa's llvmpipe).
    if (DSCMonitorGLView::isSoftwareRenderer(renderer) && choice != QLatin1String("opengl")) {
        CoreMachDebugLog(
            "Monitor drawn on the CPU: OpenGL renders in software here (%s); "
            "DUOSCOPE_MONITOR=opengl uses it anyway",
            qPrintable(renderer));
        return MonitorPath::kCPU;
    }
    CoreMachDebugLog("Monitor drawn through OpenGL (%s)", qPrintable(renderer));
    return MonitorPath::kOpenGL;
}

QWidget* DSCStereoView::surface() {
    return mGLView != nullptr ? static_cast<QWidget*>(mGLView) : this;
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
    surface()->update();
}

void DSCStereoView::setNeedsDisplay(bool needsDisplay) {
    if (needsDisplay) {
        composeMonitorImage();
        surface()->update();
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
        if (mGLView != nullptr) {
            mGLView->pictureChanged(false);
        }
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
        if (mGLView != nullptr) {
            mGLView->pictureChanged(false);
        }
        return;
    }
    mContext->drawImage(mRecipe, QPointF(0, 0), mRecipe.extent());
    setMonitorImage(mPictureImage);
    ++mPictureSerial;
    if (mGLView != nullptr) {
        mGLView->pictureChanged(true);
    }
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
    if (_monitorImage.isEmpty() || mPicture.isNull()) {
        painter.fillRect(rect, Qt::black);
        return;
    }
    // In whole device pixels, so that the scaled picture is blitted as it is.
    qreal const ratio = painter.device()->devicePixelRatioF();
    QRectF const shown = letterboxRect(rect, QSizeF(mPicture.size()));
    QRect const device = QRectF(shown.topLeft() * ratio, shown.size() * ratio).toRect();
    QRectF const picked(QPointF(device.topLeft()) / ratio, QSizeF(device.size()) / ratio);
    // The bars only: the picture covers the rest.
    painter.fillRect(QRectF(rect.topLeft(), QPointF(rect.right(), picked.top())), Qt::black);
    painter.fillRect(QRectF(QPointF(rect.left(), picked.bottom()), rect.bottomRight()), Qt::black);
    painter.fillRect(QRectF(QPointF(rect.left(), picked.top()), picked.bottomLeft()), Qt::black);
    painter.fillRect(QRectF(picked.topRight(), QPointF(rect.right(), picked.bottom())), Qt::black);
    if (device.isEmpty()) {
        return;
    }
    if (device.size() == mPicture.size()) {
        painter.drawImage(picked.topLeft(), mPicture);
        return;
    }
    QImage& scaled = mScaler.scaled();
    if (mScaledSerial != mPictureSerial || scaled.size() != device.size()) {
        mScaler.scale(mPicture, device.size()).setDevicePixelRatio(ratio);
        mScaledSerial = mPictureSerial;
    }
    painter.drawImage(picked.topLeft(), scaled);
}

void DSCStereoView::paintEvent(QPaintEvent* /*event*/) {
    if (mGLView != nullptr) {
        return;  // the OpenGL surface covers the whole monitor
    }
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

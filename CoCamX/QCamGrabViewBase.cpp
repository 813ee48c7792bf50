#include "CoCamX/QCamGrabViewBase.h"

#include <QComboBox>
#include <QPainter>
#include <QPainterPath>
#include <QStandardItemModel>

#include "CoCamX/NSUICamMenuController.h"
#include "CoreX/CoreMachDebugLog.h"
#include "QClasses/QCameraGrabberBase.h"

char const QCamGrabViewBase_CameraImage[] = "iSightCamera.png";

namespace {

constexpr int kCameraPictureRow = 0;
constexpr int kSeparatorRow = 1;
// The camera picture in the unavailable indicator is a quarter of the view's width.
constexpr double kIndicatorPictureScale = 0.25;

}  // namespace

QCamGrabViewBase::QCamGrabViewBase(QWidget* parent)
    : QWidget(parent), _cameraMenuController(new NSUICamMenuController(this)) {
    setAttribute(Qt::WA_OpaquePaintEvent);
}

QCamGrabViewBase::~QCamGrabViewBase() = default;

QImage QCamGrabViewBase::CameraPicture() {
    static QImage const sPicture(QStringLiteral(":/images/") +
                                 QString::fromLatin1(QCamGrabViewBase_CameraImage));
    return sPicture;
}

void QCamGrabViewBase::setCameraPopUpButton(QComboBox* button) {
    _cameraPopUpButton = button;
    if (button == nullptr) {
        _cameraMenuController->setCameraMenu(nullptr, 0);
        return;
    }
    button->clear();
    button->addItem(QString());
    button->insertSeparator(kSeparatorRow);
    cameraItemZeroGraphic();
    _cameraMenuController->setCameraMenu(button, kSeparatorRow);
}

void QCamGrabViewBase::cameraItemZeroGraphic() {
    if (_cameraPopUpButton == nullptr) {
        return;
    }
    auto* model = qobject_cast<QStandardItemModel*>(_cameraPopUpButton->model());
    if (model == nullptr || model->rowCount() <= kCameraPictureRow) {
        return;
    }
    QStandardItem* item = model->item(kCameraPictureRow);
    item->setIcon(QIcon(QPixmap::fromImage(CameraPicture())));
    item->setText(QString());
    item->setEnabled(false);
}

void QCamGrabViewBase::cameraOpen(QSizeF frameSize, QSizeF vdigSize) {
    if (QCameraGrabberBase* grabber = this->grabber()) {
        SGRect vdigRect;
        vdigRect.bottom = static_cast<std::int16_t>(vdigSize.height());
        vdigRect.right = static_cast<std::int16_t>(vdigSize.width());
        grabber->SetCameraVDIGRequestRect(vdigRect);
        SGRect frameRect;
        frameRect.bottom = static_cast<std::int16_t>(frameSize.height());
        frameRect.right = static_cast<std::int16_t>(frameSize.width());
        int const status = grabber->OpenInitialize(frameRect, k32ARGBPixelFormat, nullptr);
        if (status == noErr) {
            int err;
            VERIFY_ERR(err = grabber->StartRecord());
            if (err != noErr) {
                // A camera that opens but cannot stream (its USB bus has no bandwidth left)
                // is let go rather than held idle; Idle tries again after the period.
                grabber->StopRecord();
            }
        } else {
            // A camera missing at open time is not re-opened by itself: the user picks one.
            grabber->SetAutoOpenCameraPluggedIn(false, 10.0f);
        }
        _cameraMenuController->updateForCameraGrabber(grabber);
        selectCurrentMenuItem();
    }
    if (_cameraPopUpButton != nullptr) {
        _cameraPopUpButton->setHidden(false);
    }
}

void QCamGrabViewBase::cameraClose() {
    if (QCameraGrabberBase* grabber = this->grabber()) {
        grabber->Close();
    }
}

bool QCamGrabViewBase::cameraTimer(QTimer* timer) { return cameraGrab(); }

bool QCamGrabViewBase::cameraGrab() {
    QCameraGrabberBase* grabber = this->grabber();
    return grabber == nullptr || grabber->Idle() == noErr;
}

void QCamGrabViewBase::selectCurrentMenuItem() {
    if (_cameraPopUpButton == nullptr) {
        return;
    }
    int const row = _cameraPopUpButton->findText(_cameraMenuController->cameraDeviceInputName(),
                                                 Qt::MatchExactly | Qt::MatchCaseSensitive);
    if (row >= 0) {
        _cameraPopUpButton->setCurrentIndex(row);
    }
}

void QCamGrabViewBase::cameraMenuChanged(NSUICamMenuController* sender) {
    QCameraGrabberBase* grabber = this->grabber();
    if (grabber == nullptr) {
        return;
    }
    _cameraMenuController->changeCameraGrabberDevice(grabber);
    _cameraMenuController->updateForCameraGrabber(grabber);
    selectCurrentMenuItem();
}

void QCamGrabViewBase::cameraMenuRefresh() {
    QCameraGrabberBase* grabber = this->grabber();
    if (grabber == nullptr) {
        return;
    }
    _cameraMenuController->updateForCameraGrabber(grabber);
    selectCurrentMenuItem();
}

void QCamGrabViewBase::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.save();
    drawRect(painter, QRectF(rect()));
    painter.restore();
}

void QCamGrabViewBase::drawRect(QPainter& painter, QRectF rect) {
    eraseBackground(painter, rect);
    drawCameraUnavailableIndicator(painter, rect);
}

void QCamGrabViewBase::eraseBackground(QPainter& painter, QRectF rect) {
    painter.save();
    painter.fillRect(rect, Qt::black);
    painter.restore();
}

void QCamGrabViewBase::drawImageRef(QPainter& painter, QImage const& image, QRectF rect,
                                    double opacity) {
    if (image.isNull()) {
        return;
    }
    painter.save();
    painter.setOpacity(opacity);
    // Low interpolation quality: a bilinear filter, no mipmaps.
    painter.setRenderHint(QPainter::SmoothPixmapTransform, true);
    painter.drawImage(rect, image);
    painter.restore();
}

void QCamGrabViewBase::drawCameraUnavailableIndicator(QPainter& painter, QRectF rect) {
    painter.save();
    painter.setOpacity(0.5);
    painter.fillRect(rect, QColor::fromRgbF(0.333f, 0.333f, 0.333f, 1.0f));
    painter.setOpacity(1.0);

    // The camera picture, a quarter of the view wide, in the middle.
    QImage const picture = CameraPicture();
    QRectF pictureRect;
    if (!picture.isNull()) {
        double const width = rect.width() * kIndicatorPictureScale;
        double const height = width * picture.height() / picture.width();
        pictureRect =
            QRectF(rect.center().x() - width / 2, rect.center().y() - height / 2, width, height);
        painter.setRenderHint(QPainter::SmoothPixmapTransform, true);
        painter.drawImage(pictureRect, picture);
    }

    // Two strokes crossing the picture: no camera here.
    QRectF const cross =
        pictureRect.isValid()
            ? pictureRect.adjusted(-pictureRect.width() * 0.1, -pictureRect.height() * 0.1,
                                   pictureRect.width() * 0.1, pictureRect.height() * 0.1)
            : rect;
    QPen pen(QColor::fromRgbF(0.85f, 0.12f, 0.12f, 0.9f));
    pen.setWidthF(qMax(2.0, rect.width() / 80.0));
    pen.setCapStyle(Qt::RoundCap);
    painter.setPen(pen);
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.drawLine(cross.topLeft(), cross.bottomRight());
    painter.drawLine(cross.bottomLeft(), cross.topRight());
    painter.restore();
}

bool import_QCamGrabViewBase() { return import_NSUICamMenuController(); }

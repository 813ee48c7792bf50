#include "CoCamX/QCamGrabViewBase.h"

#include <QComboBox>
#include <QPainter>

QCamGrabViewBase::QCamGrabViewBase(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_OpaquePaintEvent);
}

QCamGrabViewBase::~QCamGrabViewBase() = default;

void QCamGrabViewBase::cameraOpen(QSizeF frameSize, QSizeF vdigSize) {
    if (_cameraPopUpButton != nullptr) {
        _cameraPopUpButton->setHidden(false);
    }
}

void QCamGrabViewBase::cameraClose() {}

bool QCamGrabViewBase::cameraTimer(QTimer* timer) {
    return true;  // no grabber in this base view
}

void QCamGrabViewBase::cameraMenuChanged(NSUICamMenuController* sender) {}

void QCamGrabViewBase::cameraMenuRefresh() {}

void QCamGrabViewBase::paintEvent(QPaintEvent* event) { drawRect(QRectF(rect())); }

void QCamGrabViewBase::drawRect(QRectF rect) {
    eraseBackground(rect);
    drawCameraUnavailableIndicator(rect);
}

void QCamGrabViewBase::eraseBackground(QRectF rect) {
    QPainter painter(this);
    painter.fillRect(rect, Qt::black);
}

void QCamGrabViewBase::drawCameraUnavailableIndicator(QRectF rect) {
    QPainter painter(this);
    painter.setOpacity(0.5);
    painter.fillRect(rect, QColor::fromRgbF(0.333f, 0.333f, 0.333f));
}

bool import_QCamGrabViewBase() { return true; }

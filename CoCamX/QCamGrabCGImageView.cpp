#include "CoCamX/QCamGrabCGImageView.h"

QCamGrabCGImageView::QCamGrabCGImageView(QWidget* parent) : QCamGrabViewBase(parent) {}

QCamGrabCGImageView::~QCamGrabCGImageView() = default;

bool QCamGrabCGImageView::cameraTimer(QTimer* timer) {
    bool const grabbed = QCamGrabViewBase::cameraTimer(timer);
    return !grabbed;
}

bool import_QCamGrabCGImageView() { return import_QCamGrabViewBase(); }

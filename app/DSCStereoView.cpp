#include "app/DSCStereoView.h"

#include <QPainter>

DSCStereoView::DSCStereoView(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_OpaquePaintEvent);
}

DSCStereoView::~DSCStereoView() = default;

void DSCStereoView::setNeedsDisplay(bool needsDisplay) {
    if (needsDisplay) {
        update();
    }
}

CIImage DSCStereoView::liveMonitorImage() const { return CIImage(); }

void DSCStereoView::paintEvent(QPaintEvent* event) { drawRect(QRectF(rect())); }

void DSCStereoView::drawRect(QRectF rect) {
    CIImage const image = liveMonitorImage();
    setMonitorImage(image);
    if (image.isEmpty()) {
        eraseBackground(QRectF(this->rect()));
        return;
    }
}

void DSCStereoView::eraseBackground(QRectF rect) {
    QPainter painter(this);
    painter.fillRect(rect, Qt::black);
}

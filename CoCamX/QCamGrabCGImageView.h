#pragma once
// The eye view the document uses: a camera view whose grabber decompresses into a 32-bit
// ARGB bitmap, rebuilt into an image on every tick for the monitor.

#include "CoCamX/QCamGrabViewBase.h"

class QCamGrabCGImageView : public QCamGrabViewBase {
    Q_OBJECT
public:
    explicit QCamGrabCGImageView(QWidget* parent = nullptr);
    ~QCamGrabCGImageView() override;

    // The inverse of the base view's result: true exactly when the grab step failed.
    bool cameraTimer(QTimer* timer) override;
};

bool import_QCamGrabCGImageView();

#pragma once
// Two eyes on the test-pattern camera, each with its adjustment panel, a monitor over both
// and a 640 x 480 broadcast buffer: what one master-clock tick of the window drives, without
// the window. The monitor paints into an image of the screen size given.

#include <cstdint>
#include <memory>
#include <vector>

#include <QColor>
#include <QComboBox>
#include <QImage>

#include "CoCamX/NSUICICameraControls.h"
#include "CoCamX/NSUIControls.h"
#include "CoCamX/NSUISegmentedControl.h"
#include "CoCamX/QCamGrabCGImageView.h"
#include "app/DSCStereoView.h"
#include "platform/capture/TestPatternBackEnd.h"
#include "platform/imaging/CIContext.h"

struct StereoRig {
    QComboBox leftPopUp, rightPopUp;
    NSUICameraAdjustPanel leftPanel, rightPanel;
    QCamGrabCGImageView left, right;
    NSUISegmentedControl control;
    DSCStereoView monitor;
    QImage screen;
    std::vector<std::uint32_t> broadcastBuffer = std::vector<std::uint32_t>(640 * 480);
    std::unique_ptr<CIContext> broadcast =
        CIContext::contextWithBitmap(broadcastBuffer.data(), 640, 480, 640 * 4);

    explicit StereoRig(bool activeStacks = false, QSize screenSize = QSize(640, 480))
        : screen(screenSize, QImage::Format_ARGB32_Premultiplied) {
        TestPatternBackEnd::SetFreeRunning(true);
        left.setCameraControls(leftPanel.controls());
        right.setCameraControls(rightPanel.controls());
        if (activeStacks) {
            // Every stage at work: white point, exposure, colour controls and a mirror.
            for (NSUICameraAdjustPanel* panel : {&leftPanel, &rightPanel}) {
                NSUICICameraControls::Outlets const& o = panel->controls()->outlets();
                o.whiteBalanceColor->setColor(QColor(230, 215, 200));
                o.whiteBalanceEnable->setState(1);
                o.exposureSlider->setDoubleValue(0.4);
                o.brightnessSlider->setDoubleValue(0.02);
                o.contrastSlider->setDoubleValue(1.1);
                o.saturationSlider->setDoubleValue(1.2);
                o.mirrorImageX->setState(1);
            }
        }
        left.setCameraPopUpButton(&leftPopUp);
        right.setCameraPopUpButton(&rightPopUp);
        monitor.setEyes(&left, &right);
        monitor.setMonitorImageTypeControl(&control);
        left.cameraOpen(QSizeF(640, 480), QSizeF(640, 480));
        right.cameraOpen(QSizeF(640, 480), QSizeF(640, 480));
        Grab();
    }
    ~StereoRig() {
        left.cameraClose();
        right.cameraClose();
        TestPatternBackEnd::SetFreeRunning(false);
    }
    void Grab() {
        left.cameraTimer(nullptr);
        right.cameraTimer(nullptr);
    }
    void Compose() {
        monitor.composeMonitorImage();
        monitor.drawRect(screen, QRectF(QPointF(0, 0), QSizeF(screen.size())));
    }
    void Broadcast() {
        CIImage const image = monitor.monitorImage();
        broadcast->drawImage(image, QPointF(0, 0), image.extent());
    }
};

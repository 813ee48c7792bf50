#pragma once
// The monitor: each time it draws it composes what is monitored (the left eye, both eyes
// combined, combined with the eyes swapped, or the right eye), keeps that picture for the
// broadcast, and shows it scaled to the view.

#include <memory>

#include <QImage>
#include <QWidget>

#include "platform/imaging/CIImage.h"

class CIContext;
class CIFilter;
class NSUISegmentedControl;
class QCamGrabCGImageView;

class DSCStereoView : public QWidget {
    Q_OBJECT
public:
    enum MonitorType : int {
        kMonitorLeftEye = 1,
        kMonitorCombined = 2,
        kMonitorCombinedSwapped = 3,
        kMonitorRightEye = 4,
    };

    explicit DSCStereoView(QWidget* parent = nullptr);
    ~DSCStereoView() override;

    // Imports the image modules and registers the stereo mux by name, once.
    static void initialize();

    // Outlets: the monitor-type control and the two eyes.
    void setMonitorImageTypeControl(NSUISegmentedControl* control);
    void setEyes(QCamGrabCGImageView* leftEye, QCamGrabCGImageView* rightEye);

    // The selected segment + 1.
    int monitorImageType() const;
    void setMonitorImageType(int type);
    // The control's action: nothing to do, the next tick redraws with the new type.
    void monitorImageTypeChanged() {}
    double swapEyesFloatValue() const;

    CIImage leftEyeImage() const;
    CIImage rightEyeImage() const;
    CIImage monitorImageMuxed() const;
    virtual CIImage liveMonitorImage() const;
    CIImage liveMonitorImageStereofy(CIImage const& image) const { return image; }

    // Schedules a redraw; the monitor image is composed when the view next paints.
    virtual void setNeedsDisplay(bool needsDisplay);
    // The image composed at the most recent drawing, or the empty image.
    virtual CIImage monitorImage() const { return _monitorImage; }
    void setMonitorImage(CIImage const& image) { _monitorImage = image; }

    // Composes and draws into `target` (the view's own backing, or any image of the same
    // format), as a paint does.
    void drawRect(QImage& target, QRectF rect);

protected:
    void paintEvent(QPaintEvent* event) override;
    static void eraseBackground(QImage& target, QRectF rect);

    NSUISegmentedControl* _monitorImageType = nullptr;
    QCamGrabCGImageView* _leftEye = nullptr;
    QCamGrabCGImageView* _rightEye = nullptr;
    std::unique_ptr<CIFilter> _stereoMux;
    CIImage _monitorImage;

private:
    QImage mBacking;  // the picture drawn on screen, kept between paints
    std::unique_ptr<CIContext> mContext;
    void const* mContextPixels = nullptr;
};

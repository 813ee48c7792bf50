#pragma once
// The monitor: composes the two eyes into the picture being monitored each time it draws,
// keeps that picture for the broadcast, and shows it scaled to the view.

#include <QWidget>

#include "platform/imaging/CIImage.h"

class DSCStereoView : public QWidget {
    Q_OBJECT
public:
    explicit DSCStereoView(QWidget* parent = nullptr);
    ~DSCStereoView() override;

    // Schedules a redraw; the monitor image is composed when the view next paints.
    virtual void setNeedsDisplay(bool needsDisplay);
    // The image composed at the most recent drawing, or the empty image.
    virtual CIImage monitorImage() const { return _monitorImage; }
    void setMonitorImage(CIImage const& image) { _monitorImage = image; }

    virtual CIImage liveMonitorImage() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void drawRect(QRectF rect);
    void eraseBackground(QRectF rect);

    CIImage _monitorImage;
};

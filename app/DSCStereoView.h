#pragma once
// The monitor: on every tick it composes what is monitored (the left eye, both eyes
// combined, combined with the eyes swapped, or the right eye) once, at the picture's own
// size, into a picture it keeps for the broadcast; painting only scales that picture into
// the view, keeping its shape (black bars fill the rest), through OpenGL where a context
// can be made and with the painter otherwise.

#include <memory>

#include <QImage>
#include <QWidget>

#include "CocoaX/CIVIZStereoFormat.h"
#include "app/DSCMonitorScaler.h"
#include "platform/imaging/CIImage.h"

class CIContext;
class CIFilter;
class DSCMonitorGLView;
class NSUISegmentedControl;
class QCamGrabCGImageView;
class QComboBox;

class DSCStereoView : public QWidget {
    Q_OBJECT
public:
    enum MonitorType : int {
        kMonitorLeftEye = 1,
        kMonitorCombined = 2,
        kMonitorCombinedSwapped = 3,
        kMonitorRightEye = 4,
    };

    enum class MonitorPath { kCPU, kOpenGL };

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
    // The control's action: recomposes at once, so the change shows without waiting.
    void monitorImageTypeChanged();
    double swapEyesFloatValue() const;

    // What the combined types (2 and 3) make: an anaglyph or a layout, for the monitor and
    // the broadcast alike. The control lists every format and forwards the user's choice.
    void setStereoFormatControl(QComboBox* control);
    CIVIZStereoFormat stereoFormat() const { return mStereoFormat; }
    // Recomposes at once, as a change of the monitor type does.
    void setStereoFormat(CIVIZStereoFormat format);

    // Each eye's picture after its adjustments, or the empty image.
    CIImage leftEyeImage() const;
    CIImage rightEyeImage() const;
    CIImage monitorImageMuxed() const;
    virtual CIImage liveMonitorImage() const;
    CIImage liveMonitorImageStereofy(CIImage const& image) const { return image; }

    // Composes the monitor picture of this tick and schedules a paint of it.
    virtual void setNeedsDisplay(bool needsDisplay);
    // The picture composed at the latest tick (an image over the monitor's own memory), or
    // the empty image when there is nothing to show.
    virtual CIImage monitorImage() const { return _monitorImage; }
    void setMonitorImage(CIImage const& image) { _monitorImage = image; }
    // The composed picture itself; null when there is nothing to show.
    QImage const& monitorPicture() const { return mPicture; }

    // Composes the picture of the current eyes and monitor type.
    void composeMonitorImage();
    // Draws the composed picture into `target` within `rect`, as a paint does.
    void drawRect(QImage& target, QRectF rect) const;
    // Where a picture of `picture` size is shown in `bounds`: as large as fits, centred,
    // with its shape kept.
    static QRectF letterboxRect(QRectF bounds, QSizeF picture);

    // The path every monitor of this process draws through, chosen on first use and logged
    // once.
    static MonitorPath monitorPath();
    // Chooses and logs the path: OpenGL where a context can be made on graphics hardware;
    // DUOSCOPE_MONITOR=cpu forces the painter, DUOSCOPE_MONITOR=opengl a software OpenGL.
    static MonitorPath chooseMonitorPath();
    // The widget that paints the picture: the OpenGL surface, or the monitor itself.
    QWidget* surface();

    // The monitor alone on the whole screen, for a 3D TV or a projector: a double click or
    // F11 switches it, Esc leaves. It goes back to its place in the window after.
    void setFullScreenMonitor(bool fullScreen);
    bool isFullScreenMonitor() const { return isWindow(); }

signals:
    void fullScreenChanged(bool fullScreen);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void drawPicture(QPainter& painter, QRectF rect) const;

    NSUISegmentedControl* _monitorImageType = nullptr;
    QCamGrabCGImageView* _leftEye = nullptr;
    QCamGrabCGImageView* _rightEye = nullptr;
    std::unique_ptr<CIFilter> _stereoMux;
    CIImage _monitorImage;

private:
    // The recipe is built again only when an eye's image or the type changes; the picture
    // and the context that renders into it are kept while the size stays.
    CIImage mRecipe;
    CIImage mRecipeLeft;
    CIImage mRecipeRight;
    int mRecipeType = 0;
    CIVIZStereoFormat mRecipeFormat = CIVIZStereoFormat::kRedCyanDubois;
    CIVIZStereoFormat mStereoFormat = CIVIZStereoFormat::kRedCyanDubois;
    QComboBox* mStereoFormatControl = nullptr;
    QImage mPicture;
    CIImage mPictureImage;
    std::unique_ptr<CIContext> mContext;
    DSCMonitorGLView* mGLView = nullptr;  // a child covering the monitor, on the OpenGL path
    // The painter path: the picture scaled to the letterbox, made again when a new picture
    // was composed or the size changed.
    quint64 mPictureSerial = 0;
    mutable quint64 mScaledSerial = 0;
    mutable DSCMonitorScaler mScaler;
};

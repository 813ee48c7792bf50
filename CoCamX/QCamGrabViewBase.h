#pragma once
// The on-screen home of one eye: opens and closes its camera on the document's request,
// idles it on every master-clock tick and keeps its camera pop-up in step. This base holds
// what every grabber view shares; QCamGrabCGImageView adds the grabber and the picture.

#include <QImage>
#include <QWidget>

class QCameraGrabberBase;
class QComboBox;
class QPainter;
class QTimer;
class NSUICamMenuController;

// The picture on the pop-up's first item and in the camera-unavailable indicator.
extern char const QCamGrabViewBase_CameraImage[];

class QCamGrabViewBase : public QWidget {
    Q_OBJECT
public:
    explicit QCamGrabViewBase(QWidget* parent = nullptr);
    ~QCamGrabViewBase() override;

    // Outlet: the camera pop-up shown with the view. The view fills its first rows (the
    // camera picture and a separator) and gives the rest to its menu controller.
    void setCameraPopUpButton(QComboBox* button);
    QComboBox* cameraPopUpButton() const { return _cameraPopUpButton; }
    NSUICamMenuController* cameraMenuController() const { return _cameraMenuController; }

    // The view's camera grabber, or null.
    virtual QCameraGrabberBase* grabber() { return nullptr; }

    void cameraOpen(QSizeF size) { cameraOpen(size, size); }
    virtual void cameraOpen(QSizeF frameSize, QSizeF vdigSize);
    virtual void cameraClose();
    // One grab step: true exactly when the grabber's idle succeeded (or there is none).
    virtual bool cameraTimer(QTimer* timer);
    // The grab alone, for a window that pairs both eyes' frames before they are shown.
    virtual bool cameraGrab();
    virtual void cameraMenuChanged(NSUICamMenuController* sender);
    virtual void cameraMenuRefresh();
    void cameraItemZeroGraphic();

    // The picture named by QCamGrabViewBase_CameraImage, from the application's resources.
    static QImage CameraPicture();

protected:
    void paintEvent(QPaintEvent* event) override;
    virtual void drawRect(QPainter& painter, QRectF rect);
    void eraseBackground(QPainter& painter, QRectF rect);
    void drawImageRef(QPainter& painter, QImage const& image, QRectF rect, double opacity);
    void drawCameraUnavailableIndicator(QPainter& painter, QRectF rect);
    void selectCurrentMenuItem();

    NSUICamMenuController* _cameraMenuController;
    QComboBox* _cameraPopUpButton = nullptr;
};

bool import_QCamGrabViewBase();

#pragma once
// The on-screen home of one eye: opens and closes its camera on the document's request,
// idles it on every master-clock tick and keeps its camera pop-up in step. This base holds
// what every grabber view shares; QCamGrabCGImageView adds the grabber and the picture.

#include <QWidget>

class QComboBox;
class QTimer;
class NSUICamMenuController;

class QCamGrabViewBase : public QWidget {
    Q_OBJECT
public:
    explicit QCamGrabViewBase(QWidget* parent = nullptr);
    ~QCamGrabViewBase() override;

    // Outlets, set when the document window is loaded.
    void setCameraPopUpButton(QComboBox* button) { _cameraPopUpButton = button; }
    QComboBox* cameraPopUpButton() const { return _cameraPopUpButton; }
    NSUICamMenuController* cameraMenuController() const { return _cameraMenuController; }

    void cameraOpen(QSizeF size) { cameraOpen(size, size); }
    virtual void cameraOpen(QSizeF frameSize, QSizeF vdigSize);
    virtual void cameraClose();
    // One grab step; the result is what the grabber's idle reported (see subclasses).
    virtual bool cameraTimer(QTimer* timer);
    virtual void cameraMenuChanged(NSUICamMenuController* sender);
    virtual void cameraMenuRefresh();

protected:
    void paintEvent(QPaintEvent* event) override;
    virtual void drawRect(QRectF rect);
    void eraseBackground(QRectF rect);
    void drawCameraUnavailableIndicator(QRectF rect);

    NSUICamMenuController* _cameraMenuController = nullptr;
    QComboBox* _cameraPopUpButton = nullptr;
};

bool import_QCamGrabViewBase();

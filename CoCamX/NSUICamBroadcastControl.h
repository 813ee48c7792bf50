#pragma once
// Turns broadcasting to the virtual camera on and off, remembers the two switches between
// runs, and writes finished frames into the camera's two shared buffers, alternately.

#include <memory>

#include <QImage>
#include <QPainter>
#include <QWidget>

#include "component/SharedCameraRecords.h"

class QAbstractButton;
namespace CoreGraphics {
class BitmapContext;
}

// A drawing context laid over memory it does not own (a shared camera buffer).
struct CGContext {
    CGContext(void* pixels, int width, int height, int rowBytes);
    QImage image;
    QPainter painter;
};
using CGContextRef = std::unique_ptr<CGContext>;

// A 32-bit premultiplied-ARGB context straight over the buffer's memory; null when the
// buffer has none.
CGContextRef CGContextRef_From_ARGB_CameraBuffer(SHARED_CAMERA_BUFFER const* buffer);

class NSUICamBroadcastControl : public QWidget {
    Q_OBJECT
public:
    static int const NSUICamBroadcastControl_CameraWidth;
    static int const NSUICamBroadcastControl_CameraHeight;

    explicit NSUICamBroadcastControl(QWidget* parent = nullptr);
    ~NSUICamBroadcastControl() override;

    // Outlets: the two check boxes of the window.
    void setAllowCameraButton(QAbstractButton* button);
    void setRebroadcastButton(QAbstractButton* button);

    virtual bool isBroadcastEnabled() const;
    bool areCameraConnectionAllowed() const;
    // Broadcasting means the virtual-camera component is loaded in this process.
    virtual bool isBroadcasting() const;
    void setBroadcastEnabled(bool enabled);

    // Installs and loads the component when broadcasting is enabled.
    virtual void startBroadcasting();
    // Unloads and uninstalls the component if it was loaded.
    virtual void stopBroadcasting();

    // Restores the switches (allow first), then starts broadcasting if it was on.
    virtual void applicationDidFinishLaunching(QObject* notification);
    // Stores the switches (allow first), then stops broadcasting.
    virtual void applicationWillTerminate(QObject* notification);

    void setComponentAllowCameraConnections(bool allowed);

    // Frames: one of camera size is copied row by row, any other is scaled to it first.
    void broadcastFrame(CoreGraphics::BitmapContext const* frame);
    void broadcastFrame_WWWWxHHH(CoreGraphics::BitmapContext const* frame);
    void broadcastFrame_XXXxYYY(CoreGraphics::BitmapContext const* frame);

    // The records of the shared buffers.
    bool get_SHARED_CAMERA_BUFFER(SHARED_CAMERA_BUFFER* buffer);
    bool get_SINGLE_CAMERA_BUFFER(SHARED_CAMERA_BUFFER* buffer);
    void set_SHARED_CAMERA_BUFFER(SHARED_CAMERA_BUFFER const* buffer);
    void set_SINGLE_CAMERA_BUFFER(SHARED_CAMERA_BUFFER const* buffer);
    bool use_SHARED_CAMERA_BUFFER(int n);
    bool lock_SHARED_CAMERA_BUFFER(SHARED_CAMERA_BUFFER const* buffer);
    bool unlock_SHARED_CAMERA_BUFFER(SHARED_CAMERA_BUFFER const* buffer);
    CGContextRef createBroadcastGraphicsContext(SHARED_CAMERA_BUFFER* buffer, int n);
    static CGContextRef contextWithCameraBuffer(SHARED_CAMERA_BUFFER const* buffer);
    void setCurrentBroadcastGraphicsContext(SHARED_CAMERA_BUFFER const* buffer);
    void releaseBroadcastGraphicsContext(SHARED_CAMERA_BUFFER const* buffer, CGContextRef context);

    int sharedCameraBufferNumber() const { return _SharedCameraBufferNumber; }

public slots:
    void broadcastButtonChanged(QObject* sender);
    void toggleBroadcastButtonAction(QObject* sender);
    void cameraConnectChanged(QObject* sender);

protected:
    QAbstractButton* _allowCameraButton = nullptr;
    QAbstractButton* _rebroadcastButton = nullptr;
    int _SharedCameraBufferNumber = 0;
};

bool import_NSUICamBroadcastControl();

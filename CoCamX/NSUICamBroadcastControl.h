#pragma once
// Turns broadcasting to the virtual camera on and off, remembers the two switches between
// runs, and alternates between the camera's two shared frame buffers.

#include <QWidget>

class QAbstractButton;

class NSUICamBroadcastControl : public QWidget {
    Q_OBJECT
public:
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

    virtual void startBroadcasting();
    virtual void stopBroadcasting();

    // Restores the switches (allow first), then starts broadcasting if it was on.
    virtual void applicationDidFinishLaunching(QObject* notification);
    // Stores the switches (allow first), then stops broadcasting.
    virtual void applicationWillTerminate(QObject* notification);

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

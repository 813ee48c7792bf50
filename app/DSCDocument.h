#pragma once
// The one stereo camera document: a window with both eye views, the monitor and the
// broadcast control, and the master clock that drives grabbing, redrawing and broadcasting
// at 30 ticks a second on the main thread.

#include <chrono>
#include <memory>

#include <QObject>
#include <QPointer>

class CIImage;
class DSCBroadcastControl;
class DSCDocumentWindow;
class DSCStereoView;
class NSUICamMenuController;
class QCamGrabCGImageView;
class QTimer;
namespace Ui {
class DSCDocument;
}

class DSCDocument : public QObject {
    Q_OBJECT
public:
    static constexpr double kTickSeconds = 1.0 / 30.0;

    DSCDocument();
    ~DSCDocument() override;

    // The number of documents whose window is loaded and not yet closed.
    static int countInstances();

    QString displayName() const;
    // Checks the interface modules the window instantiates, then names its interface file.
    QString windowNibName() const;
    // Loads the window from its interface file, connects the outlets and starts it up.
    void makeWindowControllers();
    void showWindows();
    DSCDocumentWindow* window() const;

    // Connects the four outlets; done by makeWindowControllers from the interface file.
    void setOutlets(QCamGrabCGImageView* leftEye, QCamGrabCGImageView* rightEye,
                    DSCStereoView* stereoView, DSCBroadcastControl* broadcast);

    void windowControllerDidLoadNib();
    void stereoCameraOpen();
    void stereoCameraClose();
    void stereoCameraTimer(QTimer* timer);
    void masterTimeClock(QTimer* timer);
    void cameraBroadcastFrame(CIImage const& image);
    void stereoCameraMenuRefresh();
    void stereoGrabCameraMenuChanged(NSUICamMenuController* sender);
    void windowWillClose();

    // Saves the monitor's picture and the eyes' stereo pair in the Pictures folder and says
    // so in the window's status line; returns that text.
    QString takeSnapshot();

    QTimer* camTimer() const { return _camTimer; }
    int broadcastFrameDepth() const { return _broadcastFrame; }

signals:
    // After the window closed and the document shut down.
    void documentClosed();

private:
    void scheduleNextTick();
    // Each eye's status line: its camera, format, frame rate, drops, the eyes' time apart.
    void updateEyeStatus();
    // The user's camera choice of each eye is kept between runs and restored at launch
    // through the camera menu's own path.
    void storeCameraChoice(char const* key, QString const& name);
    void restoreCameraChoices();
    // Each eye's adjustments, the monitor type and the window's geometry are kept between
    // runs without the user saving them: stored a moment after a change (one write for a
    // burst of slider moves) and when the window closes, and taken back when it opens.
    void connectAdjustments();
    void settingsChanged();
    void storeWindowSettings();
    void restoreWindowSettings();

    QCamGrabCGImageView* _grabViewLeftEye = nullptr;
    QCamGrabCGImageView* _grabViewRightEye = nullptr;
    DSCStereoView* _stereoView = nullptr;
    DSCBroadcastControl* _broadcast = nullptr;
    int _broadcastFrame = 0;
    QTimer* _camTimer = nullptr;

    std::unique_ptr<Ui::DSCDocument> mUi;
    QPointer<DSCDocumentWindow> mWindow;
    // The clock keeps to multiples of 1/30 s from its start, so it does not drift.
    std::chrono::steady_clock::time_point mClockStart;
    long long mTickIndex = 0;
    int mStatusTicks = 0;  // ticks since the status lines were last written
    bool mRestoringCameraChoices = false;
    QTimer* mSettingsTimer = nullptr;
};
